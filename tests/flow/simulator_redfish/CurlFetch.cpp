#include "CurlFetch.h"

#include <algorithm>
#include <cctype>

namespace Kelvar::Test {

namespace {

std::size_t TakeBody(char* data, std::size_t size, std::size_t count, void* fetched) {
  static_cast<Fetched*>(fetched)->body.append(data, size * count);
  return size * count;
}

std::size_t TakeHeader(char* data, std::size_t size, std::size_t count, void* fetched) {
  std::string line(data, size * count);
  const std::size_t colon = line.find(": ");
  if (colon != std::string::npos) {
    std::transform(line.begin(), line.begin() + static_cast<long>(colon), line.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::size_t end = line.find_last_not_of("\r\n");
    static_cast<Fetched*>(fetched)->headers[line.substr(0, colon)] = line.substr(colon + 2, end - colon - 1);
  }
  return size * count;
}

}  // namespace

Fetched CurlFetch::Get(const std::string& url, const Settings& settings) {
  Fetched fetched;
  curl_easy_reset(curl_);
  curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl_, CURLOPT_TIMEOUT, 5L);
  curl_easy_setopt(curl_, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, TakeBody);
  curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &fetched);
  curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, TakeHeader);
  curl_easy_setopt(curl_, CURLOPT_HEADERDATA, &fetched);
  curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, settings.caFile.empty() ? 0L : 1L);
  curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, settings.caFile.empty() ? 0L : 2L);
  curl_easy_setopt(curl_, CURLOPT_FOLLOWLOCATION, settings.follow ? 1L : 0L);
  curl_easy_setopt(curl_, CURLOPT_MAXREDIRS, 5L);
  if (!settings.caFile.empty()) {
    curl_easy_setopt(curl_, CURLOPT_CAINFO, settings.caFile.c_str());
  }
  if (!settings.user.empty()) {
    curl_easy_setopt(curl_, CURLOPT_USERPWD, (settings.user + ':' + settings.password).c_str());
  }
  if (!settings.acceptEncoding.empty()) {
    curl_easy_setopt(curl_, CURLOPT_ACCEPT_ENCODING, settings.acceptEncoding.c_str());
  }
  if (!settings.body.empty()) {
    curl_easy_setopt(curl_, CURLOPT_COPYPOSTFIELDS, settings.body.c_str());
  }
  if (settings.method == "HEAD") {
    curl_easy_setopt(curl_, CURLOPT_NOBODY, 1L);
  } else if (!settings.method.empty()) {
    curl_easy_setopt(curl_, CURLOPT_CUSTOMREQUEST, settings.method.c_str());
  }
  curl_slist* headers = nullptr;
  for (const std::string& header : settings.headers) {
    headers = curl_slist_append(headers, header.c_str());
  }
  curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers);
  fetched.code = curl_easy_perform(curl_);
  curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &fetched.status);
  curl_easy_getinfo(curl_, CURLINFO_NUM_CONNECTS, &fetched.newConnections);
  curl_slist_free_all(headers);
  return fetched;
}

}  // namespace Kelvar::Test
