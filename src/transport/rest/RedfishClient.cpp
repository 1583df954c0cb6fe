#include <kelvar/RedfishClient.h>

#include <thread>
#include <utility>

#include <kelvar/GlobalConfig.h>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "transport/rest/TransferRecord.h"

namespace Rest {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

std::atomic<int> RedfishClient::cachedStartupWaitSeconds{0};

namespace {

constexpr int kDefaultStartupWaitSeconds = 180;

/// How long, and how often, a request is repeated while the service starts.
struct RedfishWaitPolicy {
  std::int64_t totalWaitMs;
  std::int64_t stepMs = 5000;
};

RedfishWaitPolicy ReadPolicy(std::atomic<int>& cachedSeconds) {
  int seconds = cachedSeconds.load();
  if (seconds == 0) {
    seconds = Kelvar::GetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", kDefaultStartupWaitSeconds);
    cachedSeconds.store(seconds);
  }
  return {std::int64_t{seconds} * 1000};
}

bool IsStarting(const RestResponse& response) {
  if (response.curlCode != 0 || response.httpCode != 503) {
    return false;
  }
  KELVAR_LOG(4) << "curlCode: " << response.curlCode << " | httpCode: " << response.httpCode
                << " | body: " << response.body;
  return true;
}

void SleepWhole(milliseconds duration) {
  std::this_thread::sleep_until(steady_clock::now() + duration);
}

}  // namespace

RedfishClient::RedfishClient() : RedfishClient(Waiting{&steady_clock::now, &SleepWhole}) {}

RedfishClient::RedfishClient(Waiting waiting) : wait(std::move(waiting)) {}

RedfishClient::~RedfishClient() = default;

RestResponse RedfishClient::Retry(const std::function<RestResponse()>& attempt) {
  const RedfishWaitPolicy policy = ReadPolicy(cachedStartupWaitSeconds);
  const auto start = wait.now();
  const TriesOfOneExchange tries;
  for (;;) {
    RestResponse response = attempt();
    if (!IsStarting(response) || milliseconds(policy.totalWaitMs) < wait.now() - start ||
        Kelvar::OperationDeadline::Within(milliseconds(policy.stepMs)) < milliseconds(policy.stepMs)) {
      return response;
    }
    const Kelvar::DiagnosticsWait noted("HTTP 503, the service is starting");
    wait.sleep(milliseconds(policy.stepMs));
  }
}

void RedfishClient::SetBasicAuth(const std::string& user, const std::string& password) {
  client.SetBasicAuth(user, password);
}

void RedfishClient::SetTimeout(std::int32_t seconds) {
  client.SetTimeout(seconds);
}

void RedfishClient::SetSkipTlsVerification(bool skip) {
  client.SetSkipTlsVerification(skip);
}

void RedfishClient::SetDisableExpect(bool disable) {
  client.SetDisableExpect(disable);
}

void RedfishClient::FollowRedirects(bool follow, std::int32_t maximum) {
  client.FollowRedirects(follow, maximum);
}

void RedfishClient::SetCAInfoFilePath(const std::string& path) {
  client.SetCAInfoFilePath(path);
}

void RedfishClient::SetProxy(const std::string& url, const std::string& user, const std::string& password) {
  client.SetProxy(url, user, password);
}

void RedfishClient::SetHeaders(std::map<std::string, std::string> headers) {
  client.SetHeaders(std::move(headers));
}

std::map<std::string, std::string> RedfishClient::GetHeaders() {
  return client.GetHeaders();
}

void RedfishClient::AppendHeader(const std::string& key, const std::string& value) {
  client.AppendHeader(key, value);
}

int RedfishClient::EnableCompression() {
  return client.EnableCompression();
}

RestResponse RedfishClient::Request(int type, const std::string& url, const std::string& data) {
  return client.Request(type, url, data);
}

RestResponse RedfishClient::Get(const std::string& url) {
  KELVAR_LOG(4) << "Redfish GET action on URL: " << url;
  return Retry([&] { return client.Get(url); });
}

RestResponse RedfishClient::PostMime(const std::string& url, MimeParts& parts, ProgressCallback progress) {
  return Retry([&] { return client.PostMime(url, parts, progress); });
}

RestResponse RedfishClient::PostStream(const std::string& url, std::istream& stream) {
  return Retry([&] { return client.PostStream(url, stream); });
}

RestResponse RedfishClient::Post(const std::string& url, const std::string& data) {
  return Retry([&] { return client.Post(url, data); });
}

RestResponse RedfishClient::PutStream(const std::string& url, std::istream& stream) {
  return Retry([&] { return client.PutStream(url, stream); });
}

RestResponse RedfishClient::Put(const std::string& url, const std::string& data) {
  return Retry([&] { return client.Put(url, data); });
}

RestResponse RedfishClient::PatchStream(const std::string& url, std::istream& stream) {
  return Retry([&] { return client.PatchStream(url, stream); });
}

RestResponse RedfishClient::Patch(const std::string& url, const std::string& data) {
  return Retry([&] { return client.Patch(url, data); });
}

RestResponse RedfishClient::Delete(const std::string& url) {
  return Retry([&] { return client.Delete(url); });
}

RestResponse RedfishClient::Head(const std::string& url) {
  return Retry([&] { return client.Head(url); });
}

RestResponse RedfishClient::Options(const std::string& url) {
  return Retry([&] { return client.Options(url); });
}

int RedfishClient::CheckResponse(const RestResponse& response) {
  return client.CheckResponse(response);
}

}  // namespace Rest
