#include <kelvar/RestClient.h>

#include <locale>
#include <string>
#include <utility>

#include "common/text/Secret.h"

namespace Rest {

namespace {

/// Leaves nothing of what was there.
void Replace(std::string& secret, const std::string& text) {
  Kelvar::Text::WipeText(secret);
  secret = text;
}

}  // namespace

void RestClient::WipeHeaders() noexcept {
  for (auto& [key, value] : requestHeaders) {
    Kelvar::Text::WipeText(value);
  }
}

void RestClient::SetBasicAuth(const std::string& user, const std::string& password) {
  basicAuthUser = user;
  Replace(basicAuthPassword, password);
}

void RestClient::SetTimeout(std::int32_t seconds) {
  timeoutSeconds = seconds;
}

void RestClient::SetSkipTlsVerification(bool skip) {
  skipTlsVerification = skip;
}

void RestClient::SetDisableExpect(bool disable) {
  disableExpect = disable;
}

void RestClient::FollowRedirects(bool follow, std::int32_t maximum) {
  followRedirects = follow;
  maxRedirects = maximum;
}

void RestClient::SetCAInfoFilePath(const std::string& path) {
  caInfoPath = path;
}

void RestClient::SetProxy(const std::string& url, const std::string& user, const std::string& password) {
  std::string upper = url;
  const std::locale locale;
  for (char& letter : upper) {
    letter = std::toupper(letter, locale);
  }
  proxyUrl = url.empty() || upper.rfind("HTTP", 0) == 0 ? url : "http://" + url;
  proxyUser = user;
  Replace(proxyPassword, password);
}

void RestClient::SetHeaders(std::map<std::string, std::string> headers) {
  WipeHeaders();
  requestHeaders = std::move(headers);
}

std::map<std::string, std::string> RestClient::GetHeaders() {
  return requestHeaders;
}

void RestClient::AppendHeader(const std::string& key, const std::string& value) {
  Replace(requestHeaders[key], value);
}

int RestClient::EnableCompression() {
  compressionEnabled = true;
  return 0;
}

void RestClient::SetClientCertificate(const std::string& certificate, const std::string& type, const std::string& key,
                                      const std::string& keyPassphrase) {
  certPath = certificate;
  certType = type;
  keyPath = key;
  Replace(keyPassword, keyPassphrase);
}

void RestClient::SetCookieList(const std::string& line) {
  cookieList = line;
}

void RestClient::SetOutputFile(std::FILE* file) {
  outputFile = file;
}

void RestClient::SetMaxBodyBytes(std::uint64_t bytes) {
  maxBodyBytes = bytes;
}

int RestClient::CheckResponse(const RestResponse& response) {
  switch (response.curlCode) {
    case CURLE_OK:
      return std::to_string(response.httpCode).front() == '2' ? 0 : -1;
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return -2;
    default:
      return -1;
  }
}

}  // namespace Rest
