#pragma once

#include <string>
#include <string_view>

namespace Kelvar::Tool {

/// Any bytes as text of a page or of a quoted attribute: nothing in them is markup, and what steers terminals or turns
/// the direction of text is written as \xNN, as in the other formats.
std::string Escaped(std::string_view text);

}  // namespace Kelvar::Tool
