#include "common/text/Escape.h"

#include <cstddef>

namespace Kelvar::Text {

namespace {

/// How many continuation bytes follow a lead byte, and the range of the first of them, by the UTF-8 standard; 0 for a
/// byte that leads nothing.
struct Utf8Lead {
  std::size_t following = 0;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
};

Utf8Lead LeadOf(unsigned char byte) noexcept {
  if (byte >= 0xC2 && byte <= 0xDF) {
    return {1};
  }
  if (byte >= 0xE0 && byte <= 0xEF) {
    return {2, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    return {3, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {};
}

/// Whether a character of three bytes is a line separator or steers the direction of the text around it: U+200E,
/// U+200F, U+2028 to U+202E, U+2066 to U+2069.
bool Steers(unsigned char second, unsigned char third) noexcept {
  return (second == 0x80 && ((third >= 0x8E && third <= 0x8F) || (third >= 0xA8 && third <= 0xAE))) ||
         (second == 0x81 && third >= 0xA6 && third <= 0xA9);
}

/// Bytes of the printable character at the start of `text`; 0 when its first byte has to be escaped.
std::size_t PrintableLength(std::string_view text) noexcept {
  const auto at = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  if (at(0) < 0x80) {
    return at(0) >= 0x20 && at(0) != 0x7F ? 1 : 0;
  }
  const Utf8Lead lead = LeadOf(at(0));
  if (lead.following == 0 || text.size() <= lead.following || at(1) < lead.lowest || at(1) > lead.highest) {
    return 0;
  }
  if ((at(0) == 0xC2 && at(1) < 0xA0) || (at(0) == 0xE2 && Steers(at(1), at(2)))) {
    return 0;
  }
  for (std::size_t index = 2; index <= lead.following; ++index) {
    if ((at(index) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return 1 + lead.following;
}

}  // namespace

std::string EscapeControl(std::string_view text, std::string_view keep) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string escaped;
  escaped.reserve(text.size());
  while (!text.empty()) {
    std::size_t length = PrintableLength(text);
    if (length == 0 && keep.find(text.front()) != std::string_view::npos) {
      length = 1;
    }
    if (length == 0) {
      const auto byte = static_cast<unsigned char>(text.front());
      escaped.append("\\x").append({kDigits[byte >> 4], kDigits[byte & 0x0F]});
      length = 1;
    } else {
      escaped.append(text.substr(0, length));
    }
    text.remove_prefix(length);
  }
  return escaped;
}

}  // namespace Kelvar::Text
