#pragma once

#include <string_view>

namespace Kelvar::Text {

/// Reads a decimal number the way atoi does (leading white space, a sign, digits, anything after them ignored, 0 for
/// no number), but with a defined result for every text: a number outside the range of int gives its nearest end.
int ParseClampedInt(std::string_view text) noexcept;

}  // namespace Kelvar::Text
