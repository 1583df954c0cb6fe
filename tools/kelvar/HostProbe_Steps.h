#pragma once

#include <string>

#include <kelvar/Types.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

/// What one attempt to reach a service showed.
struct ProbeAnswer {
  ExitCode code = ExitCode::Unreachable;
  std::string step;  ///< how far it came: "name", "port", "TLS", "HTTP", "service", "RMCP", "login"
  std::string text;  ///< for people
};

/// Asks for the service root, without an account.
ProbeAnswer ProbeRedfish(const std::string& host, u16 port, int timeoutSeconds);

/// Sends a CIM request without an account. A server that wants a login first counts as CIM: nothing tells it apart.
ProbeAnswer ProbeCim(const std::string& host, u16 port, bool tls, int timeoutSeconds);

/// Asks for the authentication capabilities, which an IPMI target tells without a session.
ProbeAnswer ProbeIpmi(const std::string& host, u16 port, int timeoutSeconds);

}  // namespace Kelvar::Tool
