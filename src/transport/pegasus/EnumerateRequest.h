#pragma once

#include <string>
#include <vector>

#include <Pegasus/Common/CIMPropertyList.h>

namespace Pegasus::Detail {

/// EnumerateInstances as headers and body of an HTTP request. Parameters that have the protocol's own default value
/// are not written.
struct EnumerateRequest {
  std::string messageId;
  const CIMNamespaceName& nameSpace;
  const CIMName& className;
  bool deepInheritance;
  bool localOnly;
  bool includeQualifiers;
  bool includeClassOrigin;
  const CIMPropertyList& properties;

  std::vector<std::string> Headers() const;
  std::string Body() const;
};

}  // namespace Pegasus::Detail
