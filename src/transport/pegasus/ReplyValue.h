#pragma once

#include <string>
#include <string_view>

#include <Pegasus/Common/CIMValue.h>

namespace Pegasus::Detail {

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
  /// The scalar, or the next element of the array. False when the text is no value of the type.
  bool Set(std::string_view text);
  void SetNullElement();
  CIMValue Value() const;

 private:
  std::string element_;
};

}  // namespace Pegasus::Detail
