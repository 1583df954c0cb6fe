#pragma once

#include <cstddef>
#include <string_view>

namespace Kelvar {

/// What a text may hold before a reader sees it. Both readers recurse, and the tree reader takes some 400 bytes for
/// each value: with these bounds no body makes the process grow past 512 MiB.
struct JsonLimits {
  std::size_t depth = 100;
  std::size_t bytes = std::size_t{64} << 20;
  std::size_t values = 500'000;
};

/// Why the text is beyond the limits, as a text for the log; null when it is within them. One pass without recursion
/// or memory. Tells nothing about the text's syntax, and never counts less than a reader meets before a syntax error.
const char* CheckJsonLimits(std::string_view text, const JsonLimits& limits = {}) noexcept;

}  // namespace Kelvar
