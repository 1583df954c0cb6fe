#pragma once

#include <map>
#include <string>
#include <vector>

#include <curl/curl.h>

namespace Kelvar::Test {

/// What a plain libcurl program gets.
struct Fetched {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string body;
  /// By name in lower case.
  std::map<std::string, std::string> headers;
  /// 0 when the connection of the request before was used again.
  long newConnections = 0;
};

/// One libcurl handle, with a time limit of 5 seconds and certificates unchecked unless `caFile` is set.
class CurlFetch {
 public:
  struct Settings {
    std::string user;
    std::string password;
    std::string caFile;
    std::string acceptEncoding;
    std::string method;
    std::string body;
    std::vector<std::string> headers;
    bool follow = false;
  };

  CurlFetch() : curl_(curl_easy_init()) {}
  ~CurlFetch() { curl_easy_cleanup(curl_); }
  CurlFetch(const CurlFetch&) = delete;
  CurlFetch& operator=(const CurlFetch&) = delete;

  Fetched Get(const std::string& url) { return Get(url, Settings{}); }
  Fetched Get(const std::string& url, const Settings& settings);

 private:
  CURL* curl_;
};

}  // namespace Kelvar::Test
