#pragma once

#include <Pegasus/Common/CIMProperty.h>

namespace Pegasus {

namespace Detail {

struct InstanceRecord;

}  // namespace Detail

/// One instance of a reply. Copies share the memory of the whole reply and keep it alive.
class CIMInstance {
 public:
  CIMInstance() noexcept = default;
  CIMInstance(CIMObjectPath path, const Detail::InstanceRecord* record) noexcept
      : path_(std::move(path)), record_(record) {}

  const CIMObjectPath& getPath() const noexcept { return path_; }
  Uint32 getPropertyCount() const noexcept;
  /// PEG_NOT_FOUND when the instance lacks it.
  Uint32 findProperty(const CIMName& name) const noexcept;
  CIMProperty getProperty(Uint32 index);
  CIMConstProperty getProperty(Uint32 index) const;

 private:
  CIMObjectPath path_;
  // Inside the memory that the path shares.
  const Detail::InstanceRecord* record_ = nullptr;
};

}  // namespace Pegasus
