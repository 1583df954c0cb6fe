#pragma once

#include <Pegasus/Common/CIMName.h>
#include <Pegasus/Common/CIMValue.h>

namespace Pegasus {

class CIMConstQualifier {
 public:
  CIMConstQualifier() noexcept = default;
  CIMConstQualifier(CIMName name, CIMValue value) noexcept : name_(std::move(name)), value_(std::move(value)) {}

  const CIMName& getName() const noexcept { return name_; }
  CIMType getType() const noexcept { return value_.getType(); }
  Boolean isArray() const noexcept { return value_.isArray(); }
  const CIMValue& getValue() const noexcept { return value_; }

 private:
  CIMName name_;
  CIMValue value_;
};

}  // namespace Pegasus
