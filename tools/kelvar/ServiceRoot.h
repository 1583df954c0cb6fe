#pragma once

#include <optional>
#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Tool {

/// What a web server answered to one request without an account.
struct HttpAnswer {
  int failure = 0;        ///< code of curl; 0: there was a response
  std::string errorText;  ///< of that failure
  long status = 0;        ///< 0: no response
  std::string body;       ///< at most 64 KiB
  std::string headers;    ///< at most 64 KiB, as they came

  /// "HTTP 404", or the text of the failure.
  std::string Text() const;
};

/// Asks `url` without an account; takes any certificate, uses no proxy and follows no redirect. With `cimRequest` it is
/// a CIM request, else a GET.
HttpAnswer AskHttp(const std::string& url, long timeoutSeconds, bool cimRequest = false);

/// The URL of a target's Redfish service root.
std::string ServiceRootUrl(const std::string& host, u16 port);

/// The version of Redfish that a service root tells; none when it is not a Redfish service root.
std::optional<std::string> RedfishVersionIn(const HttpAnswer& answer);

/// A host as URLs have it: an IPv6 address in brackets.
std::string Bracketed(const std::string& host);

}  // namespace Kelvar::Tool
