#pragma once

#include <cstdint>

namespace Kelvar::Tool {

/// Raises the process's limit of open files to `wanted`, or as far as the hard limit allows, and never lowers it; the
/// limit then in force.
std::uint64_t RaiseDescriptorLimit(std::uint64_t wanted);

}  // namespace Kelvar::Tool
