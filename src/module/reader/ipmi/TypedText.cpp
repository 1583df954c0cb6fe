#include "module/reader/ipmi/TypedText.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "common/text/Escape.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u32 kReplacement = 0xFFFD;

void AppendUtf8(std::string& text, u32 point) {
  if (point < 0x80) {
    text += static_cast<char>(point);
    return;
  }
  const auto tail = [point](unsigned shift) { return static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
  if (point < 0x800) {
    text.append({static_cast<char>(0xC0 | (point >> 6)), tail(0)});
  } else if (point < 0x10000) {
    text.append({static_cast<char>(0xE0 | (point >> 12)), tail(6), tail(0)});
  } else {
    text.append({static_cast<char>(0xF0 | (point >> 18)), tail(12), tail(6), tail(0)});
  }
}

bool IsPadding(u8 byte) {
  return byte == ' ' || byte == 0x00 || byte == 0xFF;
}

std::span<const u8> WithoutPadding(std::span<const u8> bytes) {
  while (!bytes.empty() && IsPadding(bytes.back())) {
    bytes = bytes.first(bytes.size() - 1);
  }
  return bytes;
}

std::string Trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

std::string Decode(TextType type, std::span<const u8> bytes) {
  return type == TextType::BcdPlus ? DecodeBcdPlus(bytes) : DecodeSixBit(bytes);
}

}  // namespace

bool IsPlainAscii(std::span<const u8> bytes, std::size_t fewest) {
  const auto plain = [](u8 byte) {
    const bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9');
    return letter || std::string_view(" -._/,:()+#").find(static_cast<char>(byte)) != std::string_view::npos;
  };
  return bytes.size() >= fewest && std::all_of(bytes.begin(), bytes.end(), plain);
}

std::string DecodeUtf16(std::span<const u8> bytes) {
  const auto unit = [bytes](std::size_t at) { return static_cast<u32>(bytes[at] | (bytes[at + 1] << 8)); };
  constexpr u32 kByteOrderMark = 0xFEFF;
  std::string text;
  const std::size_t start = bytes.size() > 1 && unit(0) == kByteOrderMark ? 2 : 0;
  for (std::size_t at = start; at + 1 < bytes.size() && unit(at) != 0 && unit(at) != 0xFFFF; at += 2) {
    u32 point = unit(at);
    if (point >= 0xD800 && point < 0xE000) {
      const u32 low = at + 3 < bytes.size() ? unit(at + 2) : 0;
      const bool pair = point < 0xDC00 && low >= 0xDC00 && low < 0xE000;
      point = pair ? 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00) : kReplacement;
      at += pair ? 2 : 0;
    }
    AppendUtf8(text, point);
  }
  return Trimmed(text);
}

std::string DecodeLatin1(std::span<const u8> bytes) {
  bytes = WithoutPadding(bytes);
  bytes = bytes.first(static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), u8{0}) - bytes.begin()));
  const std::string raw(bytes.begin(), bytes.end());
  const auto high = [](u8 byte) { return byte >= 0x80; };
  // Escaping leaves valid UTF-8 as it is; the control characters of ASCII do not matter here.
  constexpr const char* kAsciiControls =
      "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b"
      "\x1c\x1d\x1e\x1f\x7f";
  if (std::none_of(bytes.begin(), bytes.end(), high) || Text::EscapeControl(raw, kAsciiControls) == raw) {
    return Trimmed(raw);
  }
  std::string text;
  for (const u8 byte : bytes) {
    AppendUtf8(text, byte);
  }
  return Trimmed(text);
}

std::string DecodeBcdPlus(std::span<const u8> bytes) {
  // FRU devices reserve the codes D to F, which names of sensors have.
  static constexpr std::string_view kAlphabet = "0123456789 -.:,_";
  std::string text;
  for (const u8 byte : bytes) {
    text += kAlphabet[byte >> 4];
    text += kAlphabet[byte & 0x0F];
  }
  return Trimmed(text);
}

std::string DecodeSixBit(std::span<const u8> bytes) {
  std::string text;
  u32 pending = 0;
  unsigned bits = 0;
  for (const u8 byte : bytes) {
    pending |= static_cast<u32>(byte) << bits;
    for (bits += 8; bits >= 6; bits -= 6) {
      text += static_cast<char>(' ' + (pending & 0x3F));
      pending >>= 6;
    }
  }
  return Trimmed(text);
}

std::string HexText(std::span<const u8> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const u8 byte : bytes) {
    text.append({kDigits[byte >> 4], kDigits[byte & 0x0F]});
  }
  return text;
}

std::string DecodeFruText(TextType type, std::span<const u8> bytes, bool english) {
  switch (type) {
    case TextType::BinaryOrUnicode:
      return HexText(std::all_of(bytes.begin(), bytes.end(), IsPadding) ? std::span<const u8>() : bytes);
    case TextType::EightBit:
      return english || IsPlainAscii(bytes) ? DecodeLatin1(bytes) : DecodeUtf16(bytes);
    default:
      return Decode(type, bytes);
  }
}

std::string DecodeRecordName(TextType type, std::span<const u8> bytes) {
  constexpr std::size_t kShortName = 3;  // "12V"; records have no language that would speak for UTF-16
  switch (type) {
    case TextType::BinaryOrUnicode:
      return IsPlainAscii(bytes, kShortName) ? DecodeLatin1(bytes) : DecodeUtf16(bytes);
    case TextType::EightBit:
      return DecodeLatin1(bytes);
    default:
      return Decode(type, bytes);
  }
}

std::string WithoutPlaceholder(std::string text) {
  static constexpr std::array<std::string_view, 14> kPlaceholders = {"to be filled by o.e.m.",
                                                                     "to be filled by oem",
                                                                     "default string",
                                                                     "not specified",
                                                                     "not available",
                                                                     "not applicable",
                                                                     "unknown",
                                                                     "undefined",
                                                                     "none",
                                                                     "null",
                                                                     "n/a",
                                                                     "na",
                                                                     "tbd",
                                                                     "empty"};
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; });
  const bool filler = lower.find_first_not_of(" .") == std::string::npos ||
                      lower.find_first_not_of("0 .-") == std::string::npos ||
                      lower.find_first_not_of('x') == std::string::npos;
  if (filler || std::find(kPlaceholders.begin(), kPlaceholders.end(), lower) != kPlaceholders.end()) {
    text.clear();
  }
  return text;
}

}  // namespace Kelvar::Reader::Ipmi
