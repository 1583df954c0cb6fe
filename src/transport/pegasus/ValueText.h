#pragma once

#include <string>
#include <string_view>

#include <Pegasus/Common/CIMType.h>
#include <Pegasus/Common/Config.h>

// The stored form of values. A scalar is its own toString text: that form reads back exactly, and most values are
// only ever asked for as text. An array is its elements, each as a 32-bit length, the text and a NUL.

namespace Pegasus::Detail {

/// The type of a TYPE attribute; string for names that are none.
CIMType TypeNamed(std::string_view name) noexcept;

/// Types whose empty text is a value; for all others it is no value at all.
constexpr bool IsTextType(CIMType type) noexcept {
  return type == CIMTYPE_STRING || type == CIMTYPE_CHAR16;
}

/// Appends the stored form of a scalar that a reply writes as `wire`. False when that is no value of the type.
bool AppendStored(CIMType type, std::string_view wire, std::string& stored);

/// The stored form of an array element that is null.
std::string_view NullElement(CIMType type) noexcept;

/// Appends an element, given in its scalar form, to an array.
void AppendElement(std::string_view element, std::string& stored);

/// Walks the elements of an array.
class ElementReader {
 public:
  explicit ElementReader(std::string_view stored) noexcept : rest_(stored) {}
  bool Next(std::string_view& element) noexcept;

 private:
  std::string_view rest_;
};

}  // namespace Pegasus::Detail
