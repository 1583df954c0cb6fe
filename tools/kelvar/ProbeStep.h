#pragma once

#include <string>

#include <kelvar/Types.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

/// What one attempt to reach a service showed.
struct Answer {
  ExitCode code = ExitCode::Unreachable;
  std::string step;  ///< how far it came: "name", "port", "TLS", "HTTP", "RMCP", "login"
  std::string text;  ///< for people
};

/// Asks a URL without an account, takes any certificate, and follows no redirect. At most 64 KiB are read; any HTTP
/// answer counts.
Answer AskHttp(const std::string& url, long timeoutSeconds);

/// Asks for the authentication capabilities, which an IPMI target tells without a session.
Answer AskIpmi(const std::string& host, u16 port, int timeoutSeconds);

}  // namespace Kelvar::Tool
