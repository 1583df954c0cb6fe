#include "tools/kelvar/ServiceRoot.h"

#include <algorithm>
#include <memory>

#include <curl/curl.h>
#include <fmt/format.h>
#include <rapidjson/document.h>

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} * 1024;

// What every CIM server has to know, so that its answer shows one.
constexpr const char* kCimRequest =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><MESSAGE ID=\"1\" "
    "PROTOCOLVERSION=\"1.0\"><SIMPLEREQ><IMETHODCALL NAME=\"EnumerateInstanceNames\"><LOCALNAMESPACEPATH><NAMESPACE "
    "NAME=\"root\"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME=\"ClassName\"><CLASSNAME NAME=\"CIM_ObjectManager\"/>"
    "</IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>";

/// Keeps the beginning of a text and stops the transfer where it is longer.
std::size_t Collect(const char* bytes, std::size_t size, std::size_t count, void* to) noexcept {
  try {
    auto& text = *static_cast<std::string*>(to);
    text.append(bytes, std::min(size * count, kMostBytes - text.size()));
    return text.size() < kMostBytes ? size * count : 0;
  } catch (...) {
    return 0;
  }
}

using Handle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using Headers = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

Headers CimHeaders() {
  curl_slist* list = nullptr;
  for (const char* const line : {"Content-Type: application/xml; charset=\"utf-8\"", "CIMOperation: MethodCall",
                                 "CIMMethod: EnumerateInstanceNames", "CIMObject: root", "Expect:"}) {
    list = curl_slist_append(list, line);
  }
  return {list, curl_slist_free_all};
}

void SetUp(CURL* handle, const std::string& url, long timeoutSeconds) {
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_TIMEOUT, timeoutSeconds);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
}

}  // namespace

std::string HttpAnswer::Text() const {
  return status == 0 ? errorText : fmt::format("HTTP {}", status);
}

HttpAnswer AskHttp(const std::string& url, long timeoutSeconds, bool cimRequest) {
  const Handle handle(curl_easy_init(), curl_easy_cleanup);
  const Headers headers = CimHeaders();
  HttpAnswer answer;
  char errorText[CURL_ERROR_SIZE] = {};
  SetUp(handle.get(), url, timeoutSeconds);
  curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, errorText);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, &Collect);
  curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &answer.body);
  curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, &Collect);
  curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &answer.headers);
  if (cimRequest) {
    curl_easy_setopt(handle.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, kCimRequest);
  }
  const CURLcode code = curl_easy_perform(handle.get());
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &answer.status);
  if (answer.status == 0) {
    answer.failure = code == CURLE_OK ? CURLE_GOT_NOTHING : code;
    answer.errorText = *errorText != '\0' ? errorText : curl_easy_strerror(code);
  }
  return answer;
}

std::string ServiceRootUrl(const std::string& host, u16 port) {
  return fmt::format("https://{}:{}/redfish/v1/", Bracketed(host), port);
}

std::optional<std::string> RedfishVersionIn(const HttpAnswer& answer) {
  constexpr long kOk = 200;
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(answer.body.data(), answer.body.size());
  if (answer.status != kOk || document.HasParseError() || !document.IsObject()) {
    return std::nullopt;
  }
  const auto version = document.FindMember("RedfishVersion");
  return version != document.MemberEnd() && version->value.IsString()
             ? std::optional<std::string>(version->value.GetString())
             : std::nullopt;
}

std::string Bracketed(const std::string& host) {
  return host.find(':') != std::string::npos && host.front() != '[' ? "[" + host + "]" : host;
}

}  // namespace Kelvar::Tool
