#include <algorithm>
#include <iterator>

#include <curl/curl.h>
#include <fmt/format.h>

#include "tools/kelvar/HostProbe_Steps.h"
#include "tools/kelvar/ServiceRoot.h"

namespace Kelvar::Tool {

namespace {

constexpr long kUnauthorized = 401;
constexpr long kUnavailable = 503;

constexpr int kTlsCodes[] = {CURLE_SSL_CONNECT_ERROR,    CURLE_SSL_ENGINE_NOTFOUND, CURLE_SSL_ENGINE_SETFAILED,
                             CURLE_SSL_CERTPROBLEM,      CURLE_SSL_CIPHER,          CURLE_PEER_FAILED_VERIFICATION,
                             CURLE_USE_SSL_FAILED,       CURLE_SSL_SHUTDOWN_FAILED, CURLE_SSL_ISSUER_ERROR,
                             CURLE_SSL_INVALIDCERTSTATUS};

ProbeAnswer Failure(const HttpAnswer& answer) {
  if (answer.failure == CURLE_COULDNT_RESOLVE_HOST) {
    return {ExitCode::Unreachable, "name", answer.errorText};
  }
  if (std::find(std::begin(kTlsCodes), std::end(kTlsCodes), answer.failure) != std::end(kTlsCodes)) {
    return {ExitCode::Tls, "TLS", answer.errorText};
  }
  const bool port = answer.failure == CURLE_COULDNT_CONNECT || answer.failure == CURLE_OPERATION_TIMEDOUT;
  return {ExitCode::Unreachable, port ? "port" : "HTTP", answer.errorText};
}

/// `name` in lower case.
bool HasHeader(const HttpAnswer& answer, const std::string& name) {
  std::string headers = answer.headers;
  const auto lower = [](unsigned char letter) {
    return static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + 32 : letter);
  };
  std::transform(headers.begin(), headers.end(), headers.begin(), lower);
  return headers.find("\n" + name + ":") != std::string::npos;
}

}  // namespace

ProbeAnswer ProbeRedfish(const std::string& host, u16 port, int timeoutSeconds) {
  const HttpAnswer answer = AskHttp(ServiceRootUrl(host, port), timeoutSeconds);
  if (answer.status == 0) {
    return Failure(answer);
  }
  if (const auto version = RedfishVersionIn(answer)) {
    return {ExitCode::Complete, "service", answer.Text() + ", Redfish " + *version};
  }
  if (answer.status == kUnavailable) {
    return {ExitCode::BadData, "service", answer.Text() + ", the service may be starting"};
  }
  return {ExitCode::Unsupported, "service", answer.Text() + ", not a Redfish service"};
}

ProbeAnswer ProbeCim(const std::string& host, u16 port, bool tls, int timeoutSeconds) {
  const std::string url = fmt::format("{}://{}:{}/cimom", tls ? "https" : "http", Bracketed(host), port);
  const HttpAnswer answer = AskHttp(url, timeoutSeconds, true);
  if (answer.status == 0) {
    return Failure(answer);
  }
  const bool cim = HasHeader(answer, "cimoperation") || HasHeader(answer, "cimerror") ||
                   answer.body.find("<CIM ") != std::string::npos;
  if (cim) {
    return {ExitCode::Complete, "service", answer.Text() + ", CIM"};
  }
  if (answer.status == kUnauthorized && HasHeader(answer, "www-authenticate")) {
    return {ExitCode::Complete, "service", answer.Text()};
  }
  return {ExitCode::Unsupported, "service", answer.Text() + ", not a CIM server"};
}

}  // namespace Kelvar::Tool
