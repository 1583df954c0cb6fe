#pragma once

#include <Pegasus/Common/String.h>

namespace Pegasus {

/// Path of an instance: Class.Key="text",Other=5 with the keys sorted. That of an instance which an enumeration gave
/// holds no host and no namespace.
class CIMObjectPath {
 public:
  CIMObjectPath() noexcept = default;
  CIMObjectPath(const String& text) noexcept : text_(text) {}

  String toString() const { return text_; }

  const Detail::SharedText& Shared() const noexcept { return text_.Shared(); }

 private:
  String text_;
};

}  // namespace Pegasus
