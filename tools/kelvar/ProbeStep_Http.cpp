#include <algorithm>
#include <memory>

#include <curl/curl.h>
#include <rapidjson/document.h>

#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/ProbeStep.h"

namespace Kelvar::Tool {

namespace {

constexpr std::size_t mostBytes = std::size_t{64} * 1024;

std::size_t Collect(const char* bytes, std::size_t size, std::size_t count, void* to) noexcept {
  try {
    auto& body = *static_cast<std::string*>(to);
    body.append(bytes, std::min(size * count, mostBytes - body.size()));
    return size * count;
  } catch (...) {
    return 0;
  }
}

std::string RedfishVersion(const std::string& body) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(body.c_str());
  if (document.HasParseError() || !document.IsObject()) {
    return "";
  }
  const auto version = document.FindMember("RedfishVersion");
  return version != document.MemberEnd() && version->value.IsString()
             ? std::string(", Redfish ") + version->value.GetString()
             : "";
}

Answer Failure(CURLcode code, const char* errorText) {
  const std::string text = *errorText != '\0' ? errorText : curl_easy_strerror(code);
  if (code == CURLE_COULDNT_RESOLVE_HOST) {
    return {ExitCode::Unreachable, "name", text};
  }
  if (IsTlsFailure(code)) {
    return {ExitCode::Tls, "TLS", text};
  }
  const bool port = code == CURLE_COULDNT_CONNECT || code == CURLE_OPERATION_TIMEDOUT;
  return {ExitCode::Unreachable, port ? "port" : "HTTP", text};
}

}  // namespace

Answer AskHttp(const std::string& url, long timeoutSeconds) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), curl_easy_cleanup);
  std::string body;
  char errorText[CURL_ERROR_SIZE] = {};
  curl_easy_setopt(handle.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, timeoutSeconds);
  curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(handle.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, errorText);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &Collect);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &body);
  const CURLcode code = curl_easy_perform(handle.get());
  long status = 0;
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
  if (code != CURLE_OK && status == 0) {
    return Failure(code, errorText);
  }
  return {ExitCode::Complete, "HTTP", "HTTP " + std::to_string(status) + RedfishVersion(body)};
}

}  // namespace Kelvar::Tool
