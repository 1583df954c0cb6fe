#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <curl/curl.h>

namespace Kelvar::Simulator {

/// Gets pages of one service over one connection. Follows no redirects and checks no certificates.
class HttpFetch {
 public:
  /// `service` is "https://HOST[:PORT]". Throws std::runtime_error when libcurl cannot be had.
  HttpFetch(std::string service, const std::string& user, const std::string& password);

  struct Page {
    long status = 0;
    std::string body;
  };

  /// The answer to a GET of path and query; nothing when the transfer fails or the body is longer than `most`.
  std::optional<Page> Get(const std::string& target, std::size_t most);

  /// Why the last transfer failed.
  const std::string& Failure() const { return failure_; }

 private:
  std::string service_;
  std::unique_ptr<CURL, void (*)(CURL*)> curl_;
  std::string failure_;
};

}  // namespace Kelvar::Simulator
