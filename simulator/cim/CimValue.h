#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvar::Simulator::Cim {

/// The intrinsic data types of CIM.
enum class Type : std::uint8_t {
  Boolean,
  Char16,
  String,
  Datetime,
  Uint8,
  Uint16,
  Uint32,
  Uint64,
  Sint8,
  Sint16,
  Sint32,
  Sint64,
  Real32,
  Real64,
  Reference,
};

/// The name of a type as CIM-XML writes it, such as "uint16".
std::string_view NameOf(Type type) noexcept;
std::optional<Type> TypeNamed(std::string_view name) noexcept;

/// What KEYVALUE says of a key of this type: "string", "boolean" or "numeric".
std::string_view KeyKindOf(Type type) noexcept;

/// The canonical text of a value of the type: whole numbers within their range, reals with exponent, TRUE and FALSE,
/// and for a date such as "2026-03-14" or "2026-03-14T08:30:00" its 25 characters. Empty optional when the text is no
/// value of the type.
std::optional<std::string> CanonicalText(Type type, std::string_view text);

/// Texts of a value, unescaped. A reference's text is its INSTANCENAME element.
struct Value {
  Type type = Type::String;
  bool isArray = false;
  bool isNull = true;
  /// One for a scalar; an element without a text is a NULL of an array.
  std::vector<std::optional<std::string>> items;
};

/// Names of CIM compare without case.
bool SameName(std::string_view left, std::string_view right) noexcept;

struct NameLess {
  using is_transparent = void;  // NOLINT(readability-identifier-naming): the standard library looks for this name
  bool operator()(std::string_view left, std::string_view right) const noexcept;
};

}  // namespace Kelvar::Simulator::Cim
