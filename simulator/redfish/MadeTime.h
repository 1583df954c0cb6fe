#pragma once

#include <string>

namespace Kelvar::Simulator {

/// A time of a made resource, without zone: `number` times eleven minutes after the beginning of 2026.
std::string MadeTime(double number);

}  // namespace Kelvar::Simulator
