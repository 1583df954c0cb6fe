#include "transport/pegasus/PercentEncoding.h"

#include <array>
#include <charconv>

namespace Pegasus::Detail {

namespace {

bool StaysPlain(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_' ||
         c == '.' || c == '~';
}

}  // namespace

std::string PercentEncoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    if (StaysPlain(c)) {
      encoded += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      encoded.append(1, '%').append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xF]);
    }
  }
  return encoded;
}

std::string PercentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    const bool complete = text[i] == '%' && i + 2 < text.size();
    if (complete && std::from_chars(&text[i + 1], &text[i + 1] + 2, byte, 16).ptr == &text[i + 1] + 2) {
      decoded += static_cast<char>(byte);
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

}  // namespace Pegasus::Detail
