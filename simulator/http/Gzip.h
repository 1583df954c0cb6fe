#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Kelvar::Simulator {

/// The text, `repeat` times over, as one gzip stream.
std::string Gzip(std::string_view text, std::uint64_t repeat = 1);

}  // namespace Kelvar::Simulator
