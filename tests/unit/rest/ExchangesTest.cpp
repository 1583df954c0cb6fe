#include <kelvar/Diagnostics.h>
#include <kelvar/RedfishClient.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ScriptedHttpServer.h"

namespace Rest {
namespace {

using Kelvar::DiagnosticExchange;
using Kelvar::Diagnostics;
using Kelvar::DiagnosticsScope;
using Kelvar::FailureCause;
using Kelvar::Test::ConnectionFault;
using Kelvar::Test::HttpReply;
using Kelvar::Test::ScriptedHttpServer;

HttpReply WithHeader(HttpReply reply, const std::string& name, const std::string& value) {
  reply.headers.emplace_back(name, value);
  return reply;
}

TEST(ExchangesTest, RecordsWhatCameAndWhatItMeans) {
  struct Case {
    std::string path;
    HttpReply reply;
    FailureCause cause;
    bool understood;
    std::string response;
  };
  using Cause = FailureCause;
  const Case cases[] = {
      {"/redfish/v1", HttpReply(R"({"@odata.id":"/redfish/v1","RedfishVersion" : "1.9.0"})"), Cause::None, true,
       "HTTP 200"},
      {"/redfish/v1/", HttpReply(R"({"@odata.id":"/redfish/v1/"})"), Cause::NotSuchService, false,
       "HTTP 200 with a service root without RedfishVersion"},
      {"/redfish/v1/Systems?$top=1", HttpReply(" {\"@odata.id\":\"/redfish/v1/Systems\"}"), Cause::None, true,
       "HTTP 200"},
      {"/x", WithHeader(HttpReply("{}"), "odata-version", "4.0"), Cause::None, true, "HTTP 200"},
      {"/x", HttpReply(R"({"status":"@odata.id"})"), Cause::NotSuchService, false, "HTTP 200 with no Redfish resource"},
      {"/x", HttpReply("<html>"), Cause::NotSuchService, false, "HTTP 200 with HTML or XML instead of JSON"},
      {"/x", HttpReply("[1]"), Cause::NotSuchService, false, "HTTP 200 with no JSON object"},
      {"/x", HttpReply(""), Cause::NotSuchService, false, "HTTP 200 with an empty body"},
      {"/x", HttpReply(401, ""), Cause::LoginRefused, false, "HTTP 401"},
      {"/x", HttpReply(403, R"({"error":{"@Message.ExtendedInfo":[]}})"), Cause::LoginRefused, true, "HTTP 403"},
      {"/x", HttpReply(404, "<html>"), Cause::NotOffered, false, "HTTP 404"},
      {"/x", HttpReply(501, ""), Cause::NotOffered, false, "HTTP 501"},
      {"/x", HttpReply(500, ""), Cause::BadData, false, "HTTP 500"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(&one - cases);
    ScriptedHttpServer server;
    server.On(one.path, one.reply);
    RedfishClient client;
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    client.Get(server.Url(one.path));
    ASSERT_EQ(diagnostics.Exchanges().size(), 1u);
    const DiagnosticExchange& exchange = diagnostics.Exchanges().front();
    EXPECT_EQ(exchange.protocol, "redfish");
    EXPECT_EQ(exchange.request, "GET " + one.path);
    EXPECT_EQ(exchange.response, one.response);
    EXPECT_EQ(exchange.status, one.reply.status);
    EXPECT_EQ(exchange.bytes, one.reply.body.size());
    EXPECT_GT(exchange.seconds, 0);
    EXPECT_STREQ(NameOf(exchange.cause), NameOf(one.cause));
    EXPECT_EQ(diagnostics.ServiceUnderstood(), one.understood);
  }
}

TEST(ExchangesTest, RecordsWhyNothingCame) {
  ScriptedHttpServer server;
  server.On("/large", HttpReply(std::string(200, 'x')));
  int closedPort = 0;
  {
    const ScriptedHttpServer gone;
    closedPort = gone.Port();
  }
  RestClient client;
  client.SetMaxBodyBytes(100);
  const auto causeOf = [&](const std::string& url) {
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    client.Get(url);
    EXPECT_EQ(diagnostics.Exchanges().front().status, -1);
    EXPECT_NE(diagnostics.Detail(), "");
    return std::string(NameOf(diagnostics.Cause()));
  };
  EXPECT_EQ(causeOf("http://127.0.0.1:" + std::to_string(closedPort) + "/x"), "refused");
  EXPECT_EQ(causeOf("http://no-such-host.invalid/x"), "unreachable");
  server.FailConnections(ConnectionFault::CloseAfterFirstBytes, 1);
  EXPECT_EQ(causeOf("https://127.0.0.1:" + std::to_string(server.Port()) + "/x"), "tls");
  EXPECT_EQ(causeOf(server.Url("/large")), "too_large");
  server.FailConnections(ConnectionFault::CloseAfterFirstBytes,
                         2);  // a second one, since libcurl asks again over a new connection
  RestClient fresh;
  Diagnostics diagnostics;
  const DiagnosticsScope scope(diagnostics);
  fresh.Get(server.Url("/x"));
  EXPECT_STREQ(NameOf(diagnostics.Cause()), "unreachable");
}

TEST(ExchangesTest, TriesWhileAServiceStartsAreOneExchange) {
  ScriptedHttpServer server;
  server.On("/x", {HttpReply(503, "a"), HttpReply(503, "bc"), HttpReply("{\"@odata.id\":\"/x\"}")});
  std::chrono::steady_clock::time_point time;
  RedfishClient client({[&] { return time; }, [&](std::chrono::milliseconds duration) { time += duration; }});
  Diagnostics diagnostics;
  const DiagnosticsScope scope(diagnostics);
  client.Get(server.Url("/x"));
  ASSERT_EQ(diagnostics.Exchanges().size(), 1u);
  EXPECT_EQ(diagnostics.Exchanges().front().transmissions, 3u);
  EXPECT_EQ(diagnostics.Exchanges().front().bytes, 21u);
  EXPECT_EQ(diagnostics.Cause(), FailureCause::None);
}

}  // namespace
}  // namespace Rest
