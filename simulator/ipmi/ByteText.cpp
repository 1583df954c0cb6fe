#include "simulator/ipmi/ByteText.h"

#include <charconv>
#include <stdexcept>

namespace Kelvar::Simulator {

namespace {

u8 HexPair(std::string_view text, std::size_t at) {
  u8 value = 0;
  const char* const first = text.data() + at;
  if (at + 2 > text.size() || std::from_chars(first, first + 2, value, 16).ptr != first + 2) {
    throw std::runtime_error("no bytes: " + std::string(text));
  }
  return value;
}

}  // namespace

Bytes BytesOf(std::string_view text) {
  Bytes bytes;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
    } else if (text[at] == '\'') {
      const std::size_t end = text.find('\'', at + 1);
      if (end == std::string_view::npos) {
        throw std::runtime_error("no closing quote: " + std::string(text));
      }
      bytes.insert(bytes.end(), text.begin() + static_cast<std::ptrdiff_t>(at) + 1,
                   text.begin() + static_cast<std::ptrdiff_t>(end));
      at = end + 1;
    } else {
      bytes.push_back(HexPair(text, at));
      at += 2;
    }
  }
  return bytes;
}

std::string HexOf(const Bytes& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const u8 byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0x0F];
  }
  return text;
}

std::string PatternOf(std::string_view text) {
  std::string pattern;
  for (const char character : text) {
    if (character != ' ') {
      pattern += character;
    }
  }
  return pattern.empty() ? "-" : pattern;
}

}  // namespace Kelvar::Simulator
