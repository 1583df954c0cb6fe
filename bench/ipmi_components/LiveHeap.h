#pragma once

#include <cstddef>

namespace Kelvar::Bench {

// What operator new gave and operator delete did not take back yet, in this program.

std::size_t LiveBytes();
/// The most since the last call of ResetPeak.
std::size_t PeakBytes();
void ResetPeak();

}  // namespace Kelvar::Bench
