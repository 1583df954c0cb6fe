#pragma once

#include <string>
#include <string_view>

#include <Pegasus/Common/CIMValue.h>

namespace Pegasus::Detail {

/// The text of one element, in the pieces that the XML parser gives. White space around it that was written as a
/// reference or in a CDATA section belongs to it.
class TextCollector {
 public:
  void Start() noexcept;
  void Append(std::string_view text, bool verbatim);
  std::size_t Size() const noexcept { return text_.size(); }

  // Valid until the next start.

  /// Without any other white space around it.
  std::string_view Trimmed() const noexcept;
  /// With the blanks and tabs around it; a line break there is layout, and goes with all white space on its side.
  std::string_view Padded() const noexcept;

 private:
  std::string text_;
  std::size_t start_ = 0;  ///< of what is no white space around it
  std::size_t end_ = 0;    ///< 0 before the first such character
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
