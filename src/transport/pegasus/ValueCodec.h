#pragma once

#include <string>
#include <string_view>

#include <Pegasus/Common/CIMType.h>
#include <Pegasus/Common/CIMValue.h>
#include <Pegasus/Common/Config.h>

// The stored form of values. A scalar is its own toString text: that form reads back exactly, and most values are
// only ever asked for as text. An array is its elements, each as a 32-bit length, the text and a NUL.

namespace Pegasus::Detail {

/// The type of a TYPE attribute; string for names that are none.
CIMType TypeNamed(std::string_view name) noexcept;

/// Types whose empty text is a value; for all others it is not a value at all.
constexpr bool IsTextType(CIMType type) noexcept {
  return type == CIMTYPE_STRING || type == CIMTYPE_CHAR16;
}

/// Appends the stored form of a scalar that a reply writes as `wire`. False when that is not a value of the type.
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

/// The text of one element, in the pieces that the XML parser gives. White space around it goes, unless it was
/// written as a reference or in a CDATA section.
class TextCollector {
 public:
  void Start() noexcept;
  void Append(std::string_view text, bool verbatim);
  std::string_view Finish() noexcept;
  std::size_t Size() const noexcept { return text_.size(); }

 private:
  std::string text_;
  std::size_t solid_ = 0;
};

/// The value of a property or qualifier while it is read.
struct ValueDraft {
  std::string name;
  CIMType type = CIMTYPE_STRING;
  bool isArray = false;
  bool isNull = true;
  std::string stored;

  void Start(std::string_view newName, CIMType newType, bool array);
  /// The scalar, or the next element of the array. False when the text is not a value of the type.
  bool Set(std::string_view text);
  void SetNullElement();
  CIMValue Value() const;

 private:
  std::string element_;
};

}  // namespace Pegasus::Detail
