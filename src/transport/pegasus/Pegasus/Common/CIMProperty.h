#pragma once

#include <Pegasus/Common/CIMQualifier.h>

namespace Pegasus {

namespace Detail {

struct PropertyType;

}  // namespace Detail

/// A property of an instance, which its copies keep alive.
class CIMConstProperty {
 public:
  CIMConstProperty() noexcept = default;
  CIMConstProperty(const Detail::PropertyType& type, CIMValue value) noexcept
      : propertyType_(&type), value_(std::move(value)) {}

  const CIMName& getName() const noexcept;
  const CIMValue& getValue() const noexcept { return value_; }
  CIMType getType() const noexcept { return value_.getType(); }
  Boolean isArray() const noexcept { return value_.isArray(); }
  Uint32 getQualifierCount() const noexcept;
  /// PEG_NOT_FOUND when the server sent none of that name.
  Uint32 findQualifier(const CIMName& name) const noexcept;
  CIMConstQualifier getQualifier(Uint32 index) const;

 private:
  // Lives as long as the memory that the value shares.
  const Detail::PropertyType* propertyType_ = nullptr;
  CIMValue value_;
};

class CIMProperty : public CIMConstProperty {
 public:
  CIMProperty() noexcept = default;
  explicit CIMProperty(CIMConstProperty property) noexcept : CIMConstProperty(std::move(property)) {}
};

}  // namespace Pegasus
