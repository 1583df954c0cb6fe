#include <Pegasus/Common/CIMValue.h>

#include <array>
#include <charconv>

#include "transport/pegasus/ValueCodec.h"

namespace Pegasus {

namespace {

using Detail::ElementReader;
using Detail::SharedText;

template <typename T>
constexpr CIMType kTypeOf = CIMTYPE_STRING;
template <>
constexpr CIMType kTypeOf<Boolean> = CIMTYPE_BOOLEAN;
template <>
constexpr CIMType kTypeOf<Uint8> = CIMTYPE_UINT8;
template <>
constexpr CIMType kTypeOf<Sint8> = CIMTYPE_SINT8;
template <>
constexpr CIMType kTypeOf<Uint16> = CIMTYPE_UINT16;
template <>
constexpr CIMType kTypeOf<Sint16> = CIMTYPE_SINT16;
template <>
constexpr CIMType kTypeOf<Uint32> = CIMTYPE_UINT32;
template <>
constexpr CIMType kTypeOf<Sint32> = CIMTYPE_SINT32;
template <>
constexpr CIMType kTypeOf<Uint64> = CIMTYPE_UINT64;
template <>
constexpr CIMType kTypeOf<Sint64> = CIMTYPE_SINT64;
template <>
constexpr CIMType kTypeOf<Real32> = CIMTYPE_REAL32;
template <>
constexpr CIMType kTypeOf<Real64> = CIMTYPE_REAL64;
template <>
constexpr CIMType kTypeOf<CIMDateTime> = CIMTYPE_DATETIME;
template <>
constexpr CIMType kTypeOf<CIMObjectPath> = CIMTYPE_REFERENCE;

template <typename T>
std::string StoredOf(const T& value) {
  if constexpr (std::is_same_v<T, String>) {
    return std::string(value.View());
  } else if constexpr (std::is_same_v<T, Boolean>) {
    return value ? "TRUE" : "FALSE";
  } else if constexpr (std::is_arithmetic_v<T>) {
    std::array<char, 64> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    std::string stored;
    Detail::AppendStored(kTypeOf<T>, {buffer.data(), written.ptr}, stored);
    return stored;
  } else {
    return std::string(value.toString().View());
  }
}

template <typename T>
T FromStored(const SharedText& stored) {
  if constexpr (std::is_same_v<T, Boolean>) {
    return stored.text == "TRUE";
  } else if constexpr (std::is_arithmetic_v<T>) {
    T value{};
    (void)std::from_chars(stored.text.data(), stored.text.data() + stored.text.size(), value);
    return value;
  } else {
    return T(String(stored));
  }
}

}  // namespace

template <typename T, std::enable_if_t<Detail::IsScalar<T>, int>>
CIMValue::CIMValue(const T& value) : stored_(std::string_view(StoredOf(value))), type_(kTypeOf<T>), isNull_(false) {}

template <typename T, std::enable_if_t<Detail::IsScalar<T>, int>>
CIMValue::CIMValue(const Array<T>& values) : type_(kTypeOf<T>), isArray_(true), isNull_(false) {
  std::string stored;
  for (Uint32 i = 0; i < values.size(); ++i) {
    Detail::AppendElement(StoredOf(values[i]), stored);
  }
  stored_ = String(std::string_view(stored));
}

Uint32 CIMValue::getArraySize() const noexcept {
  Uint32 count = 0;
  if (isArray_) {
    ElementReader reader(stored_.View());
    for (std::string_view element; reader.Next(element);) {
      ++count;
    }
  }
  return count;
}

template <typename T, std::enable_if_t<Detail::IsScalar<T>, int>>
void CIMValue::get(T& value) const {
  if (type_ != kTypeOf<T> || isArray_) {
    throw TypeMismatchException();
  }
  if (!isNull_) {
    value = FromStored<T>(stored_.Shared());
  }
}

template <typename T, std::enable_if_t<Detail::IsScalar<T>, int>>
void CIMValue::get(Array<T>& values) const {
  if (type_ != kTypeOf<T> || !isArray_) {
    throw TypeMismatchException();
  }
  if (isNull_) {
    return;
  }
  Array<T> found;
  ElementReader reader(stored_.View());
  for (std::string_view element; reader.Next(element);) {
    found.append(FromStored<T>({stored_.Shared().owner, element}));
  }
  values = found;
}

String CIMValue::toString() const {
  if (!isArray_) {
    return stored_;
  }
  std::string text;
  ElementReader reader(stored_.View());
  for (std::string_view element; reader.Next(element);) {
    text.append(element).append(1, ' ');
  }
  return String(std::string_view(text));
}

// NOLINTBEGIN(bugprone-macro-parentheses): a type
#define KELVAR_INSTANTIATE(T)                   \
  template CIMValue::CIMValue(const T&);        \
  template CIMValue::CIMValue(const Array<T>&); \
  template void CIMValue::get(T&) const;        \
  template void CIMValue::get(Array<T>&) const
// NOLINTEND(bugprone-macro-parentheses)
KELVAR_INSTANTIATE(Boolean);
KELVAR_INSTANTIATE(Uint8);
KELVAR_INSTANTIATE(Sint8);
KELVAR_INSTANTIATE(Uint16);
KELVAR_INSTANTIATE(Sint16);
KELVAR_INSTANTIATE(Uint32);
KELVAR_INSTANTIATE(Sint32);
KELVAR_INSTANTIATE(Uint64);
KELVAR_INSTANTIATE(Sint64);
KELVAR_INSTANTIATE(Real32);
KELVAR_INSTANTIATE(Real64);
KELVAR_INSTANTIATE(String);
KELVAR_INSTANTIATE(CIMDateTime);
KELVAR_INSTANTIATE(CIMObjectPath);
#undef KELVAR_INSTANTIATE

}  // namespace Pegasus
