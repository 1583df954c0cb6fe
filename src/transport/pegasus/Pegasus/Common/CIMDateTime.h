#pragma once

#include <Pegasus/Common/String.h>

namespace Pegasus {

/// A point in time ("yyyymmddhhmmss.mmmmmmsutc") or an interval, as its text.
class CIMDateTime {
 public:
  CIMDateTime() noexcept = default;
  CIMDateTime(const String& text) noexcept : text_(text) {}

  String toString() const { return text_; }

 private:
  String text_;
};

}  // namespace Pegasus
