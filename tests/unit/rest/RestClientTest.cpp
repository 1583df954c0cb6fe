#include <kelvar/RestClient.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "support/ScriptedHttpServer.h"
#include "support/TemporaryFolder.h"

namespace Rest {
namespace {

using Kelvar::Test::HttpReply;
using Kelvar::Test::HttpRequest;
using Kelvar::Test::ScriptedHttpServer;
using Kelvar::Test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(RestClientTest, SendsItsSettings) {
  ScriptedHttpServer server;
  server.On("/x", HttpReply("ok"));
  RestClient client;
  client.SetBasicAuth("", "secret");
  client.AppendHeader("Accept", "a");
  client.AppendHeader("Accept", "b");
  client.Get(server.Url("/x"));
  client.SetBasicAuth("user", "pa:ss");
  client.SetDisableExpect(true);
  EXPECT_EQ(client.EnableCompression(), 0);
  client.Post(server.Url("/x"), std::string(2 << 20, 'x'));
  client.SetHeaders({{"X-Only", "1"}});
  client.Get(server.Url("/x"));
  EXPECT_THAT(client.GetHeaders(), ElementsAre(testing::Pair("X-Only", "1")));

  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].Header("accept"), "b");
  EXPECT_EQ(requests[0].Header("user-agent"), "TVKE_RAVLOT");
  EXPECT_EQ(requests[0].headers.count("authorization"), 0u);
  EXPECT_EQ(requests[1].Header("authorization"), "Basic dXNlcjpwYTpzcw==");
  EXPECT_EQ(requests[1].headers.count("expect"), 0u);
  EXPECT_EQ(requests[1].Header("accept-encoding"), "gzip");
  EXPECT_EQ(requests[2].Header("x-only"), "1");
  EXPECT_EQ(server.ConnectionCount(), 1) << "the connection is kept, whatever the options of a request were";
}

TEST(RestClientTest, EveryOperationHasItsMethodAndBody) {
  ScriptedHttpServer server;
  server.On("/x", HttpReply(""));
  const std::string url = server.Url("/x");
  RestClient client;
  std::stringstream stream("from a stream");
  stream.ignore(100);  // at its end: sent whole all the same
  struct Case {
    std::function<RestResponse()> call;
    std::string method;
    std::string body;
  };
  const std::vector<Case> cases = {
      {[&] { return client.Get(url); }, "GET", ""},
      {[&] { return client.Post(url, "data"); }, "POST", "data"},
      {[&] { return client.PostStream(url, stream); }, "POST", "from a stream"},
      {[&] { return client.Put(url, "data"); }, "PUT", "data"},
      {[&] { return client.PutStream(url, stream); }, "PUT", "from a stream"},
      {[&] { return client.Patch(url, "data"); }, "PATCH", "data"},
      {[&] { return client.PatchStream(url, stream); }, "PATCH", "from a stream"},
      {[&] { return client.Delete(url); }, "DELETE", ""},
      {[&] { return client.Head(url); }, "HEAD", ""},
      {[&] { return client.Options(url); }, "OPTIONS", ""},
      {[&] { return client.Request(0, url, "data"); }, "GET", ""},
      {[&] { return client.Request(1, url, "data"); }, "POST", "data"},
      {[&] { return client.Request(2, url, "data"); }, "PUT", "data"},
      {[&] { return client.Request(3, url, "data"); }, "PATCH", "data"},
      {[&] { return client.Request(5, url, "data"); }, "HEAD", ""},
      {[&] { return client.Request(6, url, "data"); }, "OPTIONS", ""},
  };
  for (const Case& one : cases) {
    const RestResponse response = one.call();
    const HttpRequest request = server.Requests().back();
    SCOPED_TRACE(one.method + " number " + std::to_string(server.Requests().size()));
    EXPECT_EQ(response.curlCode, 0);
    EXPECT_EQ(response.httpCode, 200);
    EXPECT_EQ(request.method, one.method);
    EXPECT_EQ(request.body, one.body);
    EXPECT_EQ(request.headers.count("transfer-encoding"), 0u) << "a length was known";
  }
  EXPECT_EQ(server.Requests().size(), cases.size());

  const RestResponse unknown = client.Request(4, url, "data");
  EXPECT_EQ(unknown.curlCode, -1);
  EXPECT_EQ(unknown.httpCode, -1);
  EXPECT_EQ(unknown.body, "unknown request type");
  EXPECT_EQ(server.Requests().size(), cases.size());
}

TEST(RestClientTest, ReportsStatusBodyHeadersAndCookies) {
  ScriptedHttpServer server;
  HttpReply reply(404, "error document");
  reply.headers = {{"X-Twice", "1"}, {"X-Twice", " \t2 "}, {"Set-Cookie", "session=7; path=/"}, {"X-Empty", ""}};
  server.On("/x", reply);
  RestClient client;
  const RestResponse response = client.Get(server.Url("/x"));
  EXPECT_EQ(response.curlCode, 0);
  EXPECT_EQ(response.httpCode, 404);
  EXPECT_EQ(response.body, "error document");
  EXPECT_EQ(response.headers.at("HTTP/1.1 404 Scripted"), "present");
  EXPECT_EQ(response.headers.at("X-Twice"), "2");
  EXPECT_EQ(response.headers.at("X-Empty"), "");
  EXPECT_EQ(response.headers.at("Set-Cookie"), "session=7; path=/");
  EXPECT_EQ(response.headers.count(""), 0u);
  ASSERT_EQ(response.cookies.size(), 1u);
  EXPECT_THAT(response.cookies[0], HasSubstr("session\t7"));
  client.Get(server.Url("/x"));
  EXPECT_EQ(server.Requests().back().Header("cookie"), "session=7");
}

TEST(RestClientTest, PrintsNothingWhenItGoes) {
  ScriptedHttpServer server;
  HttpReply reply("");
  reply.headers = {{"Set-Cookie", "session=7"}};
  server.On("/x", reply);
  testing::internal::CaptureStdout();
  {
    RestClient client;
    client.Get(server.Url("/x"));
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(RestClientTest, JudgesResponses) {
  RestClient client;
  const auto judge = [&](int curl, int http) { return client.CheckResponse({curl, http, ""}); };
  for (const int code : {28, 58, 60, 77, 91}) {
    EXPECT_EQ(judge(code, -1), -2) << code;
  }
  for (const int code : {-1, 7, 56, 92}) {
    EXPECT_EQ(judge(code, 200), -1) << code;
  }
  EXPECT_EQ(judge(0, 200), 0);
  EXPECT_EQ(judge(0, 204), 0);
  EXPECT_EQ(judge(0, 2), 0);
  EXPECT_EQ(judge(0, 302), -1);
  EXPECT_EQ(judge(0, 503), -1);
  EXPECT_EQ(judge(0, -1), -1);
}

TEST(RestClientTest, FollowsRedirectsAsTold) {
  ScriptedHttpServer server;
  ScriptedHttpServer other;
  other.On("/end", HttpReply("there"));
  const auto redirect = [](const std::string& to, int status = 302) {
    HttpReply reply(status, "");
    reply.headers = {{"Location", to}};
    return reply;
  };
  server.On("/away", redirect(other.Url("/end")));
  server.On("/loop", redirect("/loop"));
  server.On("/file", redirect("file:///etc/hostname"));
  server.On("/ftp", redirect("ftp://127.0.0.1:1/x"));
  server.On("/moved", redirect("/put", 307));
  server.On("/put", HttpReply(""));
  RestClient client;
  client.SetBasicAuth("user", "pass");
  EXPECT_EQ(client.Get(server.Url("/away")).httpCode, 302);

  client.FollowRedirects(true, 10);
  EXPECT_EQ(client.Get(server.Url("/away")).body, "there");
  EXPECT_NE(other.Requests().back().Header("authorization"), "");
  const std::size_t before = server.Requests().size();
  EXPECT_EQ(client.Get(server.Url("/loop")).curlCode, CURLE_TOO_MANY_REDIRECTS);
  EXPECT_EQ(server.Requests().size() - before, 11u);
  for (const char* target : {"/file", "/ftp"}) {
    const RestResponse response = client.Get(server.Url(target));
    EXPECT_EQ(response.curlCode, CURLE_UNSUPPORTED_PROTOCOL) << target;
    EXPECT_EQ(response.httpCode, -1);
  }
  EXPECT_EQ(client.Put(server.Url("/moved"), "sent again").httpCode, 200);
  EXPECT_EQ(server.Requests().back().body, "sent again");
}

TEST(RestClientTest, VerifiesUnlessToldNotTo) {
  ScriptedHttpServer server({.tls = true});
  server.On("/x", HttpReply("ok"));
  const TemporaryFolder folder;
  const std::string authority = folder.Write("ca.pem", ScriptedHttpServer::CertificatePem());
  RestClient client;
  EXPECT_EQ(client.Get(server.Url("/x")).curlCode, CURLE_PEER_FAILED_VERIFICATION);
  client.SetSkipTlsVerification(true);
  EXPECT_EQ(client.Get(server.Url("/x")).httpCode, 200);
  client.SetCAInfoFilePath("/nonexistent");
  EXPECT_EQ(client.Get(server.Url("/x")).curlCode, CURLE_SSL_CACERT_BADFILE) << "a CA file beats the flag";
  client.SetCAInfoFilePath(authority);
  EXPECT_EQ(client.Get(server.Url("/x")).httpCode, 200);
  client.SetClientCertificate("/nonexistent", "PEM", "/nonexistent", "word");
  EXPECT_EQ(client.Get(server.Url("/x")).curlCode, CURLE_SSL_CERTPROBLEM);
}

TEST(RestClientTest, TunnelsThroughAProxy) {
  ScriptedHttpServer proxy;
  proxy.OnAnythingElse([](const HttpRequest&) { return HttpReply(502, ""); });
  const std::string hostAndPort = "127.0.0.1:" + std::to_string(proxy.Port());
  for (const std::string& url : {hostAndPort, "http://" + hostAndPort, "HTTP://" + hostAndPort}) {
    RestClient client;
    client.SetProxy(url, "user", "pass");
    EXPECT_NE(client.Get("http://127.0.0.1:1/x").curlCode, 0);
    EXPECT_EQ(proxy.Requests().back().method, "CONNECT");
    EXPECT_NE(proxy.Requests().back().Header("proxy-authorization"), "");
    client.SetProxy(url, "user", "");
    client.Get("http://127.0.0.1:1/x");
    EXPECT_EQ(proxy.Requests().back().Header("proxy-authorization"), "");
  }
  EXPECT_EQ(proxy.Requests().size(), 6u);
}

struct TextPart : MimePart {
  void Fill(curl_mimepart* part) override {
    curl_mime_name(part, "field");
    curl_mime_data(part, "value of the field", CURL_ZERO_TERMINATED);
  }
};

TEST(RestClientTest, PostsForms) {
  ScriptedHttpServer server;
  server.On("/x", HttpReply("answer"));
  RestClient client;
  MimeParts parts = {std::make_shared<TextPart>(), std::make_shared<TextPart>()};
  std::int64_t seen = 0;
  EXPECT_EQ(client.PostMime(server.Url("/x"), parts, [&](std::int64_t, std::int64_t now) { seen = now; }).body,
            "answer");
  EXPECT_GT(seen, 0);
  EXPECT_THAT(server.Requests().back().body, HasSubstr("value of the field"));
  EXPECT_EQ(client.PostMime(server.Url("/x"), parts, {}).httpCode, 200);
  const auto throwing = [](std::int64_t, std::int64_t) { throw std::runtime_error("from a callback"); };
  EXPECT_EQ(client.PostMime(server.Url("/x"), parts, throwing).httpCode, 200);

  struct ThrowingPart : MimePart {
    void Fill(curl_mimepart*) override { throw std::runtime_error("no part"); }
  };
  MimeParts broken = {std::make_shared<ThrowingPart>()};
  EXPECT_THROW(client.PostMime(server.Url("/x"), broken, {}), std::runtime_error);
  EXPECT_EQ(client.Get(server.Url("/x")).body, "answer");
  EXPECT_EQ(server.Requests().back().method, "GET") << "nothing of the broken form is left on the handle";
}

TEST(RestClientTest, WritesBodiesToAFile) {
  ScriptedHttpServer server;
  server.On("/x", HttpReply("to the file"));
  RestClient client;
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  client.SetOutputFile(file);
  client.SetMaxBodyBytes(3);
  EXPECT_EQ(client.Get(server.Url("/x")).body, "");
  client.SetOutputFile(nullptr);
  client.SetMaxBodyBytes(RestClient::kDefaultMaxBodyBytes);
  EXPECT_EQ(client.Get(server.Url("/x")).body, "to the file");
  std::rewind(file);
  char text[32] = {};
  EXPECT_EQ(std::fread(text, 1, sizeof text, file), 11u);
  EXPECT_STREQ(text, "to the file");
  std::fclose(file);
}

}  // namespace
}  // namespace Rest
