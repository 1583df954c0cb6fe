#include <kelvar/RedfishClient.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/GlobalConfig.h>

#include <sstream>

#include "support/LogCapture.h"
#include "support/ScriptedHttpServer.h"

namespace Rest {

struct RedfishClientTestAccess {
  static void ForgetStartupWait() { RedfishClient::cachedStartupWaitSeconds = 0; }
};

namespace {

using Kelvar::Test::HttpReply;
using Kelvar::Test::LogCapture;
using Kelvar::Test::ScriptedHttpServer;
using std::chrono::milliseconds;

class RedfishClientTest : public testing::Test {
 protected:
  void SetUp() override { Configure(180); }
  void TearDown() override { Configure(180); }

  static void Configure(int seconds) {
    Kelvar::SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", seconds);
    RedfishClientTestAccess::ForgetStartupWait();
  }

  ScriptedHttpServer server;
  std::chrono::steady_clock::time_point time;
  std::vector<milliseconds> sleeps;
  RedfishClient client{{[this] { return time += milliseconds(1); },
                        [this](milliseconds duration) {
                          sleeps.push_back(duration);
                          time += duration;
                        }}};
};

TEST_F(RedfishClientTest, WaitsWhileTheServiceStarts) {
  server.On("/x", {HttpReply(503, "starting"), HttpReply(503, "starting"), HttpReply("up")});
  const LogCapture log;
  EXPECT_EQ(client.Get(server.Url("/x")).body, "up");
  EXPECT_THAT(sleeps, testing::ElementsAre(milliseconds(5000), milliseconds(5000)));
  EXPECT_TRUE(log.Has(4, "Redfish GET action on URL: " + server.Url("/x")));
  EXPECT_TRUE(log.Has(4, "curlCode: 0 | httpCode: 503 | body: starting"));
}

TEST_F(RedfishClientTest, GivesUpBehindTheConfiguredTime) {
  server.On("/x", {HttpReply(503, "first"), HttpReply(503, "later")});
  const RestResponse response = client.Get(server.Url("/x"));
  EXPECT_EQ(response.httpCode, 503);
  EXPECT_EQ(response.body, "later");
  EXPECT_EQ(sleeps.size(), 36u) << "the last attempt starts after 180 seconds";
}

TEST_F(RedfishClientTest, ReadsTheSettingOnceUnlessItIsZero) {
  server.On("/x", HttpReply(503, ""));
  const auto sleepsOf = [&](int configured) {
    Kelvar::SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", configured);
    const std::size_t before = sleeps.size();
    client.Get(server.Url("/x"));
    return sleeps.size() - before;
  };
  RedfishClientTestAccess::ForgetStartupWait();
  EXPECT_EQ(sleepsOf(0), 0u);
  EXPECT_EQ(sleepsOf(30), 6u);
  EXPECT_EQ(sleepsOf(0), 6u) << "the first value but 0 holds";
  Configure(-5);
  EXPECT_EQ(sleepsOf(-5), 0u);
}

TEST_F(RedfishClientTest, AnythingButA503ComesBackAtOnce) {
  server.On("/401", HttpReply(401, ""));
  EXPECT_EQ(client.Get(server.Url("/401")).httpCode, 401);
  EXPECT_EQ(client.Get("http://127.0.0.1:1/").curlCode, CURLE_COULDNT_CONNECT);
  server.On("/x", HttpReply(503, ""));
  EXPECT_EQ(client.Request(0, server.Url("/x"), "").httpCode, 503);
  EXPECT_TRUE(sleeps.empty());
}

TEST_F(RedfishClientTest, EveryRequestOperationWaitsAndSendsItsBodyAgain) {
  std::istringstream stream("body");
  MimeParts parts;
  const std::string url = server.Url("/x");
  const std::vector<std::function<RestResponse()>> operations = {
      [&] { return client.Post(url, "body"); },
      [&] { return client.PostStream(url, stream); },
      [&] { return client.Put(url, "body"); },
      [&] { return client.PutStream(url, stream); },
      [&] { return client.Patch(url, "body"); },
      [&] { return client.PatchStream(url, stream); },
      [&] { return client.PostMime(url, parts, {}); },
      [&] { return client.Delete(url); },
      [&] { return client.Head(url); },
      [&] { return client.Options(url); },
  };
  for (const auto& operation : operations) {
    server.On("/x", {HttpReply(503, ""), HttpReply(200, "")});
    EXPECT_EQ(operation().httpCode, 200);
    const auto requests = server.Requests();
    EXPECT_EQ(requests.back().body.size(), requests[requests.size() - 2].body.size());
    EXPECT_EQ(requests.back().method, requests[requests.size() - 2].method);
  }
  EXPECT_EQ(sleeps.size(), operations.size());
}

TEST_F(RedfishClientTest, ForwardsItsSettings) {
  server.On("/x", HttpReply("ok"));
  client.SetBasicAuth("user", "pass");
  client.SetTimeout(5);
  client.SetSkipTlsVerification(true);
  client.SetDisableExpect(true);
  client.FollowRedirects(true, 1);
  client.SetCAInfoFilePath("");
  client.SetProxy("", "", "");
  client.SetHeaders({{"X-A", "1"}});
  client.AppendHeader("X-B", "2");
  client.EnableCompression();
  EXPECT_EQ(client.CheckResponse(client.Get(server.Url("/x"))), 0);
  const auto request = server.Requests().back();
  EXPECT_EQ(request.Header("authorization"), "Basic dXNlcjpwYXNz");
  EXPECT_EQ(request.Header("x-a") + request.Header("x-b"), "12");
  EXPECT_EQ(request.Header("accept-encoding"), "gzip");
  EXPECT_EQ(client.GetHeaders().size(), 2u);
}

}  // namespace
}  // namespace Rest
