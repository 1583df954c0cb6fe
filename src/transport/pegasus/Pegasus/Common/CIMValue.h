#pragma once

#include <type_traits>

#include <Pegasus/Common/Array.h>
#include <Pegasus/Common/CIMDateTime.h>
#include <Pegasus/Common/CIMObjectPath.h>
#include <Pegasus/Common/CIMType.h>

namespace Pegasus {

namespace Detail {

template <typename T, typename... Ts>
inline constexpr bool IsOneOf = (std::is_same_v<T, Ts> || ...);

/// The types that an element of a value can have.
template <typename T>
inline constexpr bool IsScalar = IsOneOf<T, Boolean, Uint8, Sint8, Uint16, Sint16, Uint32, Sint32, Uint64, Sint64,
                                         Real32, Real64, String, CIMDateTime, CIMObjectPath>;

}  // namespace Detail

/// A value with its type, shared between copies.
class CIMValue {
 public:
  CIMValue() noexcept = default;
  template <typename T, std::enable_if_t<Detail::IsScalar<T>, int> = 0>
  CIMValue(const T& value);
  template <typename T, std::enable_if_t<Detail::IsScalar<T>, int> = 0>
  CIMValue(const Array<T>& values);
  /// From the stored form; see ValueCodec.h.
  CIMValue(Detail::SharedText stored, CIMType type, Boolean isArray, Boolean isNull) noexcept
      : stored_(std::move(stored)), type_(type), isArray_(isArray), isNull_(isNull) {}

  CIMType getType() const noexcept { return type_; }
  Boolean isArray() const noexcept { return isArray_; }
  Boolean isNull() const noexcept { return isNull_; }
  /// 0 for scalars.
  Uint32 getArraySize() const noexcept;

  /// Throws TypeMismatchException unless the value has exactly this type; leaves `value` alone when it is null.
  template <typename T, std::enable_if_t<Detail::IsScalar<T>, int> = 0>
  void get(T& value) const;
  template <typename T, std::enable_if_t<Detail::IsScalar<T>, int> = 0>
  void get(Array<T>& values) const;

  /// TRUE or FALSE, decimal integers, reals as %.16e, texts as they are; each element of an array with a blank after
  /// it. Empty for null.
  String toString() const;

  std::string_view Stored() const noexcept { return stored_.View(); }

 private:
  String stored_;
  CIMType type_ = CIMTYPE_STRING;
  Boolean isArray_ = false;
  Boolean isNull_ = true;
};

}  // namespace Pegasus
