#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kelvar::Simulator::JsonText {

// Pages are served byte for byte as they are in their files, odd numbers, escapes and bad UTF-8 included. What a
// query puts together is therefore cut from the texts, never read and written anew. The texts are the machine's own and
// may be broken: each function then ends at the end of the text.

/// The position after the string that begins at `position`.
std::size_t SkipString(std::string_view text, std::size_t position);

/// The position after the value that begins at `position`.
std::size_t SkipValue(std::string_view text, std::size_t position);

/// The values of an array's text.
std::vector<std::string_view> Elements(std::string_view array);

/// Keys, without quotes, and values of an object's text.
std::vector<std::pair<std::string_view, std::string_view>> Members(std::string_view object);

/// The value of one member of an object's text.
std::optional<std::string_view> Member(std::string_view object, std::string_view key);

/// What is between the quotes of a string's text; nothing for other values.
std::optional<std::string_view> String(std::string_view value);

/// The value of "@odata.id" when it is the one member of the object that begins at `position`.
std::optional<std::string_view> Reference(std::string_view text, std::size_t position);

/// The text with the bytes of `part`, a view into it, replaced.
std::string Replace(std::string_view text, std::string_view part, std::string_view replacement);

/// A text as a JSON string, quotes included.
std::string Quote(std::string_view text);

/// The same without the quotes: what a text is within a JSON string.
std::string Escape(std::string_view text);

}  // namespace Kelvar::Simulator::JsonText
