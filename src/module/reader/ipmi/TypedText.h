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
/// text ends at its first NUL. Bytes of a binary field are given as lower-case hexadecimal digits. Plain words of ASCII
/// are never taken for UTF-16.
std::string DecodeFruText(TextType type, std::span<const u8> bytes, bool english);
/// The same for the names of sensor data records.
std::string DecodeRecordName(TextType type, std::span<const u8> bytes);

/// Bytes that are UTF-16 by the letter of their field, and plain words of ASCII: some targets set the language of an
/// area, or the type of a name, without keeping to it. Text of other scripts has few such bytes, one in European
/// languages none; fewer than six prove nothing where UTF-16 is to be expected.
bool IsPlainAscii(std::span<const u8> bytes, std::size_t fewest = 6);

std::string DecodeUtf16(std::span<const u8> bytes);
/// Bytes above 7F that are valid UTF-8 as a whole are taken as that: many targets send it where Latin-1 is due.
std::string DecodeLatin1(std::span<const u8> bytes);
std::string DecodeBcdPlus(std::span<const u8> bytes);
std::string DecodeSixBit(std::span<const u8> bytes);

std::string HexText(std::span<const u8> bytes);

/// Empty for a placeholder of a missing text: "To be filled by O.E.M.", "N/A", only dots, zeros, dashes or X.
std::string WithoutPlaceholder(std::string text);

}  // namespace Kelvar::Reader::Ipmi
