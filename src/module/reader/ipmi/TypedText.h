#pragma once

#include <span>
#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// The two top bits of a type/length byte.
enum class TextType : u8 {
  BinaryOrUnicode = 0,  ///< FRU fields: bytes; names of sensor records: UTF-16LE
  BcdPlus = 1,
  SixBit = 2,
  EightBit = 3,  ///< Latin-1, or UTF-16LE in a FRU area in another language than English
};

constexpr TextType TextTypeOf(u8 typeLength) noexcept {
  return static_cast<TextType>(typeLength >> 6);
}

/// UTF-8 of bytes in the encoding of a type/length byte. Padding (blanks, NUL, FF) at both ends is cut away, and a
/// text ends at its first NUL. Bytes of a binary field are given as lower-case hexadecimal digits.
std::string DecodeFruText(TextType type, std::span<const u8> bytes, bool english);
/// The same for the names of sensor data records.
std::string DecodeRecordName(TextType type, std::span<const u8> bytes);

std::string DecodeUtf16(std::span<const u8> bytes);
/// Bytes above 7F that are valid UTF-8 as a whole are taken as that: many targets send it where Latin-1 is due.
std::string DecodeLatin1(std::span<const u8> bytes);
std::string DecodeBcdPlus(std::span<const u8> bytes);
std::string DecodeSixBit(std::span<const u8> bytes);

std::string HexText(std::span<const u8> bytes);

/// Empty for what stands in for a missing text: "To be filled by O.E.M.", "N/A", only dots, zeros, dashes or X.
std::string WithoutPlaceholder(std::string text);

}  // namespace Kelvar::Reader::Ipmi
