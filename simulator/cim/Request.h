#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/cim/Repository.h"

namespace Kelvar::Simulator::Cim {

/// Status codes of CIM operations.
enum class Status {
  Failed = 1,
  InvalidNamespace = 3,
  InvalidParameter = 4,
  InvalidClass = 5,
  NotFound = 6,
  NotSupported = 7,
};

/// One intrinsic method call. Parameters have the protocol's defaults where the request leaves them out.
struct Request {
  std::string messageId;
  std::string method;
  std::string nameSpace;
  std::string className;
  InstanceName instanceName;
  /// Absent: as the method's own default.
  std::optional<bool> localOnly;
  std::optional<bool> includeQualifiers;
  std::optional<bool> deepInheritance;
  bool includeClassOrigin = false;
  /// Absent: all properties. Present and empty: none.
  std::optional<std::vector<std::string>> properties;
  /// An enumeration begins again at its end; not of the protocol.
  bool endless = false;
};

/// What the HTTP answer says of a body that is not a request: its status, and the value of its CIMError header.
struct ProtocolError {
  unsigned status;
  std::string cimError;
};

struct ParsedRequest {
  Request request;
  std::optional<ProtocolError> error;
};

ParsedRequest ParseRequest(std::string_view body);

}  // namespace Kelvar::Simulator::Cim
