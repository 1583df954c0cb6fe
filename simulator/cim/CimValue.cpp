#include "simulator/cim/CimValue.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace Kelvar::Simulator::Cim {

namespace {

constexpr std::array<std::string_view, 15> kTypeNames = {"boolean", "char16", "string", "datetime", "uint8",
                                                         "uint16",  "uint32", "uint64", "sint8",    "sint16",
                                                         "sint32",  "sint64", "real32", "real64",   "reference"};
static_assert(kTypeNames.size() == static_cast<std::size_t>(Type::Reference) + 1);

constexpr std::size_t kDatetimeLength = 25;

char Lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

template <typename T>
std::optional<std::string> WholeNumber(std::string_view text) {
  // from_chars reads no char-sized numbers as numbers
  using Wide = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
  Wide number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::in_range<T>(number)) {
    return std::nullopt;
  }
  return std::to_string(number);
}

template <typename T>
std::optional<std::string> RealNumber(std::string_view text) {
  T number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return std::is_same_v<T, float> ? fmt::format("{:.7e}", number) : fmt::format("{:.16e}", number);
}

std::optional<std::string> BooleanText(std::string_view text) {
  if (SameName(text, "true")) {
    return "TRUE";
  }
  if (SameName(text, "false")) {
    return "FALSE";
  }
  return std::nullopt;
}

bool FitsPattern(std::string_view text, std::string_view pattern) noexcept {
  return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                    [](char c, char p) { return p == '0' ? c >= '0' && c <= '9' : c == p; });
}

std::optional<std::string> DatetimeText(std::string_view text) {
  const bool withTime = FitsPattern(text, "0000-00-00T00:00:00");
  if (withTime || FitsPattern(text, "0000-00-00")) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c >= '0' && c <= '9'; });
    return digits + (withTime ? ".000000+000" : "000000.000000+000");
  }
  // a timestamp or an interval; asterisks stand for digits that are not known
  if (text.size() == kDatetimeLength && text[14] == '.' && std::string_view("+-:").find(text[21]) != text.npos) {
    return std::string(text);
  }
  return std::nullopt;
}

}  // namespace

std::string_view NameOf(Type type) noexcept {
  return kTypeNames[static_cast<std::size_t>(type)];
}

std::optional<Type> TypeNamed(std::string_view name) noexcept {
  const auto found = std::find(kTypeNames.begin(), kTypeNames.end(), name);
  if (found == kTypeNames.end()) {
    return std::nullopt;
  }
  return static_cast<Type>(found - kTypeNames.begin());
}

std::string_view KeyKindOf(Type type) noexcept {
  switch (type) {
    case Type::Boolean:
      return "boolean";
    case Type::String:
    case Type::Char16:
    case Type::Datetime:
    case Type::Reference:
      return "string";
    default:
      return "numeric";
  }
}

std::optional<std::string> CanonicalText(Type type, std::string_view text) {
  switch (type) {
    case Type::Boolean:
      return BooleanText(text);
    case Type::Datetime:
      return DatetimeText(text);
    case Type::Uint8:
      return WholeNumber<std::uint8_t>(text);
    case Type::Uint16:
      return WholeNumber<std::uint16_t>(text);
    case Type::Uint32:
      return WholeNumber<std::uint32_t>(text);
    case Type::Uint64:
      return WholeNumber<std::uint64_t>(text);
    case Type::Sint8:
      return WholeNumber<std::int8_t>(text);
    case Type::Sint16:
      return WholeNumber<std::int16_t>(text);
    case Type::Sint32:
      return WholeNumber<std::int32_t>(text);
    case Type::Sint64:
      return WholeNumber<std::int64_t>(text);
    case Type::Real32:
      return RealNumber<float>(text);
    case Type::Real64:
      return RealNumber<double>(text);
    case Type::String:
    case Type::Char16:
    case Type::Reference:
      break;
  }
  return std::string(text);
}

bool SameName(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

bool NameLess::operator()(std::string_view left, std::string_view right) const noexcept {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return Lower(a) < Lower(b); });
}

}  // namespace Kelvar::Simulator::Cim
