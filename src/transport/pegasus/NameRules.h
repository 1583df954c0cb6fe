#pragma once

#include <string_view>

namespace Pegasus::Detail {

/// Letters, digits, "_" and everything beyond ASCII; no digit in front.
bool IsLegalName(std::string_view name) noexcept;

}  // namespace Pegasus::Detail
