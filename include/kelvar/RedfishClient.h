#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include <kelvar/RestClient.h>

namespace Rest {

/// A REST client that waits while a service processor starts: a request that is answered 503 is repeated every 5
/// seconds until another response comes or the global setting "REDFISH_STARTUP_WAIT_TIME" (seconds, 180 by default) has
/// passed. Any other response, and every failed transfer, is returned at once. With a time limit of 120 seconds per
/// transfer a request takes 305 seconds at most. Request() alone does not wait.
///
/// Settings, threads and results are those of RestClient.
class RedfishClient : public RestClientInterface {
 public:
  /// The clock and the sleep of the wait.
  struct Waiting {
    std::function<std::chrono::steady_clock::time_point()> now;  ///< the current time
    std::function<void(std::chrono::milliseconds)> sleep;        ///< called between two attempts
  };

  /// Throws what RestClient's constructor throws.
  RedfishClient();
  /// With a clock and a sleep of the caller's. Throws what RestClient's constructor throws.
  explicit RedfishClient(Waiting waiting);
  ~RedfishClient() override;

  void SetBasicAuth(const std::string& user, const std::string& password) override;
  void SetTimeout(std::int32_t seconds) override;
  void SetSkipTlsVerification(bool skip) override;
  void SetDisableExpect(bool disable) override;
  void FollowRedirects(bool follow, std::int32_t maximum) override;
  void SetCAInfoFilePath(const std::string& path) override;
  void SetProxy(const std::string& url, const std::string& user, const std::string& password) override;
  void SetHeaders(std::map<std::string, std::string> headers) override;
  std::map<std::string, std::string> GetHeaders() override;
  void AppendHeader(const std::string& key, const std::string& value) override;
  int EnableCompression() override;

  RestResponse Request(int type, const std::string& url, const std::string& data) override;
  RestResponse Get(const std::string& url) override;
  RestResponse PostMime(const std::string& url, MimeParts& parts, ProgressCallback progress) override;
  RestResponse PostStream(const std::string& url, std::istream& stream) override;
  RestResponse Post(const std::string& url, const std::string& data) override;
  RestResponse PutStream(const std::string& url, std::istream& stream) override;
  RestResponse Put(const std::string& url, const std::string& data) override;
  RestResponse PatchStream(const std::string& url, std::istream& stream) override;
  RestResponse Patch(const std::string& url, const std::string& data) override;
  RestResponse Delete(const std::string& url) override;
  RestResponse Head(const std::string& url) override;
  RestResponse Options(const std::string& url) override;

  int CheckResponse(const RestResponse& response) override;

 private:
  friend struct RedfishClientTestAccess;

  RestResponse Retry(const std::function<RestResponse()>& attempt);

  /// The configured wait, once it is known and not 0; shared by the process.
  static std::atomic<int> cachedStartupWaitSeconds;

  RestClient client;
  Waiting wait;
};

}  // namespace Rest
