#pragma once

#include <functional>
#include <string>
#include <utility>

#include <kelvar/RestClient.h>

namespace Kelvar::Fuzz {

/// A REST client whose every request is answered by one function of the URL.
class CannedRest : public Rest::RestClientInterface {
 public:
  using Answer = std::function<Rest::RestResponse(const std::string& url)>;
  explicit CannedRest(Answer answer) : answer_(std::move(answer)) {}

  void SetBasicAuth(const std::string&, const std::string&) override {}
  void SetTimeout(std::int32_t) override {}
  void SetSkipTlsVerification(bool) override {}
  void SetDisableExpect(bool) override {}
  void FollowRedirects(bool, std::int32_t) override {}
  void SetCAInfoFilePath(const std::string&) override {}
  void SetProxy(const std::string&, const std::string&, const std::string&) override {}
  void SetHeaders(std::map<std::string, std::string>) override {}
  std::map<std::string, std::string> GetHeaders() override { return {}; }
  void AppendHeader(const std::string&, const std::string&) override {}
  int EnableCompression() override { return 0; }

  Rest::RestResponse Request(int, const std::string& url, const std::string&) override { return answer_(url); }
  Rest::RestResponse Get(const std::string& url) override { return answer_(url); }
  Rest::RestResponse PostMime(const std::string& url, Rest::MimeParts&, Rest::ProgressCallback) override {
    return answer_(url);
  }
  Rest::RestResponse PostStream(const std::string& url, std::istream&) override { return answer_(url); }
  Rest::RestResponse Post(const std::string& url, const std::string&) override { return answer_(url); }
  Rest::RestResponse PutStream(const std::string& url, std::istream&) override { return answer_(url); }
  Rest::RestResponse Put(const std::string& url, const std::string&) override { return answer_(url); }
  Rest::RestResponse PatchStream(const std::string& url, std::istream&) override { return answer_(url); }
  Rest::RestResponse Patch(const std::string& url, const std::string&) override { return answer_(url); }
  Rest::RestResponse Delete(const std::string& url) override { return answer_(url); }
  Rest::RestResponse Head(const std::string& url) override { return answer_(url); }
  Rest::RestResponse Options(const std::string& url) override { return answer_(url); }

 private:
  Answer answer_;
};

}  // namespace Kelvar::Fuzz
