#include "simulator/record/HttpFetch.h"

#include <stdexcept>

namespace Kelvar::Simulator {

namespace {

struct Body {
  std::string text;
  std::size_t most;
};

std::size_t Append(const char* bytes, std::size_t size, std::size_t count, void* target) {
  auto& body = *static_cast<Body*>(target);
  if (size * count > body.most - body.text.size()) {
    return 0;
  }
  body.text.append(bytes, size * count);
  return size * count;
}

}  // namespace

HttpFetch::HttpFetch(std::string service, const std::string& user, const std::string& password)
    : service_(std::move(service)), curl_(curl_easy_init(), curl_easy_cleanup) {
  constexpr long kConnectSeconds = 10;
  constexpr long kRequestSeconds = 60;
  if (!curl_) {
    throw std::runtime_error("libcurl cannot be started");
  }
  CURL* curl = curl_.get();
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, kRequestSeconds);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "gzip");
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
  if (!user.empty()) {
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl, CURLOPT_USERNAME, user.c_str());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, password.c_str());
  }
}

std::optional<HttpFetch::Page> HttpFetch::Get(const std::string& target, std::size_t most) {
  Body body{{}, most};
  Page page;
  curl_easy_setopt(curl_.get(), CURLOPT_URL, (service_ + target).c_str());
  curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &body);
  const CURLcode code = curl_easy_perform(curl_.get());
  if (code != CURLE_OK) {
    failure_ = curl_easy_strerror(code);
    return std::nullopt;
  }
  curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &page.status);
  page.body = std::move(body.text);
  return page;
}

}  // namespace Kelvar::Simulator
