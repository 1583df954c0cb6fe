#pragma once

#include <string>
#include <string_view>

namespace Kelvar::Text {

/// The text with every control character (C0, DEL, C1 in its UTF-8 form, line separators, and those that turn the
/// direction of text) and every byte that is no valid UTF-8 written as \xNN, so that a text from a target cannot steer
/// a terminal or forge a line. The characters in `keep` stay as they are.
std::string EscapeControl(std::string_view text, std::string_view keep = {});

}  // namespace Kelvar::Text
