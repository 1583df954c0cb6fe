#include "transport/rest/TransferRecord.h"

#include <strings.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/http/FailureOf.h"

namespace Rest {

using Kelvar::DiagnosticExchange;
using Kelvar::DiagnosticsRecorder;
using Kelvar::FailureCause;

namespace {

thread_local TriesOfOneExchange* tries = nullptr;

constexpr std::string_view kBlanks = " \t\r\n";

bool HasKey(std::string_view body, std::string_view quotedKey) noexcept {
  for (std::size_t at = body.find(quotedKey); at != std::string_view::npos; at = body.find(quotedKey, at + 1)) {
    const std::size_t next = body.find_first_not_of(kBlanks, at + quotedKey.size());
    if (next != std::string_view::npos && body[next] == ':') {
      return true;
    }
  }
  return false;
}

/// Path and query.
std::string_view PathOf(std::string_view url) noexcept {
  const std::size_t scheme = url.find("://");
  const std::size_t authority = scheme == std::string_view::npos ? 0 : scheme + 3;
  const std::size_t path = url.find_first_of("/?", authority);
  return path == std::string_view::npos ? "/" : url.substr(path);
}

/// Services of the standard send this header with every response.
bool HasODataVersion(const RestResponse& response) noexcept {
  return std::any_of(response.headers.begin(), response.headers.end(),
                     [](const auto& header) { return strcasecmp(header.first.c_str(), "OData-Version") == 0; });
}

/// Why a response that succeeded is none of a Redfish service; null when it may be one.
const char* FaultOf(const RestResponse& response, std::string_view path) noexcept {
  const std::string_view body = response.body;
  const std::size_t first = body.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return "an empty body";
  }
  if (body[first] == '<') {
    return "HTML or XML instead of JSON";
  }
  if (body[first] != '{') {
    return "no JSON object";
  }
  const bool isRoot = path == "/redfish/v1" || path == "/redfish/v1/";
  if (isRoot && !HasKey(body, "\"RedfishVersion\"")) {
    return "a service root without RedfishVersion";
  }
  const bool isResource = isRoot || HasODataVersion(response) || HasKey(body, "\"@odata.id\"");
  return isResource || HasKey(body, "\"RedfishVersion\"") ? nullptr : "no Redfish resource";
}

/// An error as the services of the standard word it, with messages of a registry.
bool IsRedfishError(std::string_view body) noexcept {
  constexpr std::size_t kLooked = std::size_t{64} * 1024;
  body = body.substr(0, kLooked);
  const std::size_t first = body.find_first_not_of(kBlanks);
  return first != std::string_view::npos && body[first] == '{' && HasKey(body, "\"@Message.ExtendedInfo\"");
}

void Judge(const RestResponse& response, bool hasBody, std::string_view path, DiagnosticExchange& exchange) {
  exchange.response = "HTTP " + std::to_string(response.httpCode);
  exchange.status = response.httpCode;
  if (response.httpCode >= 400) {
    if (HasODataVersion(response) || IsRedfishError(response.body)) {
      DiagnosticsRecorder::NoteServiceUnderstood();
    }
  } else if (hasBody) {
    const char* const fault = FaultOf(response, path);
    if (fault == nullptr) {
      DiagnosticsRecorder::NoteServiceUnderstood();
    } else {
      exchange.cause = FailureCause::NotSuchService;
      exchange.response.append(" with ").append(fault);
    }
  }
}

void Record(DiagnosticExchange exchange) {
  if (tries != nullptr) {
    tries->Add(std::move(exchange));
  } else {
    DiagnosticsRecorder::Add(exchange);
  }
}

}  // namespace

void RecordTransfer(CURL* handle, const std::string& url, const RestResponse& response, bool hasBody) noexcept {
  if (!DiagnosticsRecorder::Wanted()) {
    return;
  }
  try {
    const char* method = nullptr;
    curl_off_t microseconds = 0;
    curl_easy_getinfo(handle, CURLINFO_EFFECTIVE_METHOD, &method);
    curl_easy_getinfo(handle, CURLINFO_TOTAL_TIME_T, &microseconds);
    const std::string_view name = method == nullptr ? "GET" : method;
    const std::string_view path = PathOf(url);
    DiagnosticExchange exchange;
    exchange.protocol = "redfish";
    exchange.request.append(name).append(" ").append(path);
    exchange.seconds = static_cast<double>(microseconds) / 1e6;
    exchange.cause = response.cause;
    if (response.curlCode == CURLE_OK) {
      curl_off_t bytes = 0;
      curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &bytes);
      exchange.bytes = static_cast<Kelvar::u64>(bytes);
      Judge(response, hasBody && name == "GET", path.substr(0, path.find('?')), exchange);
    } else {
      exchange.response = response.body;  // curl's error text
    }
    Record(std::move(exchange));
  } catch (const std::bad_alloc&) {  // not recorded
  }
}

void RecordWithheld(const std::string& url, const RestResponse& response) noexcept {
  if (!DiagnosticsRecorder::Wanted()) {
    return;
  }
  try {
    DiagnosticExchange exchange;
    exchange.protocol = "redfish";
    exchange.request.append("GET ").append(PathOf(url));
    exchange.response = response.cause == FailureCause::LoginRefused
                            ? "HTTP 401, not sent again: the login was refused before"
                            : response.body;
    exchange.status = response.httpCode;
    exchange.transmissions = 0;
    exchange.cause = response.cause;
    Record(std::move(exchange));
  } catch (const std::bad_alloc&) {  // not recorded
  }
}

TriesOfOneExchange::TriesOfOneExchange() noexcept : outer_(std::exchange(tries, this)) {}

TriesOfOneExchange::~TriesOfOneExchange() {
  tries = outer_;
  if (exchange_) {
    DiagnosticsRecorder::Add(*exchange_);
  }
}

void TriesOfOneExchange::Add(DiagnosticExchange transfer) {
  if (exchange_) {
    const std::chrono::duration<double> sinceStart = std::chrono::steady_clock::now() - start_;
    transfer.transmissions += exchange_->transmissions;
    transfer.bytes += exchange_->bytes;
    transfer.seconds = sinceStart.count();
  }
  exchange_ = std::move(transfer);
}

}  // namespace Rest
