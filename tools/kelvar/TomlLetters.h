#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Kelvar::Tool {

/// The line of the first letter beyond ASCII that stands outside of texts and comments, where TOML has none and what
/// toml++ does is undefined, or of a quote within a word; 0 when there is none. Behind the first mistake of the file
/// the answer means nothing.
inline std::size_t LineOfStrayLetter(std::string_view toml) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::size_t at = toml.substr(0, kByteOrderMark.size()) == kByteOrderMark ? kByteOrderMark.size() : 0;
  std::string_view quote;  // that ends the text at `at`; empty outside of texts
  const auto starts = [&](std::string_view piece) { return toml.substr(at, piece.size()) == piece; };
  for (; at < toml.size(); ++at) {
    const char letter = toml[at];
    bool stray = quote.empty() && static_cast<unsigned char>(letter) >= 0x80;
    if (quote.empty() && letter == '#') {
      at = std::min(toml.find('\n', at), toml.size() - 1);
    } else if (quote.empty() && (letter == '"' || letter == '\'')) {
      // Elsewhere it opens no text: toml++ reads on to a blank before it minds.
      stray = at > 0 && std::string_view(" \t\r\n=.,[{\xBF").find(toml[at - 1]) == std::string_view::npos;
      const std::string_view threefold = letter == '"' ? "\"\"\"" : "'''";
      quote = threefold.substr(0, starts(threefold) ? 3 : 1);
      at += quote.size() - 1;
    } else if (letter == '\\' && !quote.empty() && quote.front() == '"') {
      // Blanks behind it belong to it in texts of many lines.
      const std::size_t next = std::min(toml.find_first_not_of(" \t\r\n", at + 1), toml.size() - 1);
      stray = static_cast<unsigned char>(toml[next]) >= 0x80;
      at = std::max(next - 1, at + 1);
    } else if (!quote.empty() && starts(quote)) {
      const std::size_t end = toml.find_first_not_of(quote.front(), at);
      at = quote.size() == 1 ? at : std::min({end, at + 5, toml.size()}) - 1;
      quote = {};
    } else if (quote.size() == 1 && letter == '\n') {
      quote = {};
    }
    if (stray) {
      return 1 +
             static_cast<std::size_t>(std::count(toml.begin(), toml.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
    }
  }
  return 0;
}

}  // namespace Kelvar::Tool
