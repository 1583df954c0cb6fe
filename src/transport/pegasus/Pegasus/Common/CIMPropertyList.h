#pragma once

#include <Pegasus/Common/Array.h>
#include <Pegasus/Common/CIMName.h>

namespace Pegasus {

/// Names the properties that an operation asks for: all of them when null, none when empty.
class CIMPropertyList {
 public:
  CIMPropertyList() noexcept = default;
  CIMPropertyList(const Array<CIMName>& names) noexcept : names_(names), isNull_(false) {}

  Boolean isNull() const noexcept { return isNull_; }
  Uint32 size() const noexcept { return names_.size(); }
  const CIMName& operator[](Uint32 index) const { return names_[index]; }

 private:
  Array<CIMName> names_;
  Boolean isNull_ = true;
};

}  // namespace Pegasus
