#include "simulator/http/HttpServer.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "CurlFetch.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Simulator {
namespace {

using Test::CurlFetch;
using Test::Fetched;
using Test::TemporaryFolder;

/// Answers every request with its method, target and body; faults from texts.
class EchoServer {
 public:
  explicit EchoServer(bool tls, const std::vector<std::string>& faults = {})
      : server_({tls, [this](std::string_view stage) { return faults_.Match("", stage); }},
                [this](const HttpRequest& request) { return Echo(request); }),
        scheme_(tls ? "https" : "http") {
    for (const std::string& fault : faults) {
      faults_.Add(fault);
    }
    port_ = server_.Start(0);
  }

  std::string Url(const std::string& target, const std::string& host = "127.0.0.1") const {
    return scheme_ + "://" + host + ':' + std::to_string(port_) + target;
  }
  const HttpServer& Server() const { return server_; }

 private:
  HttpResponse Echo(const HttpRequest& request) {
    HttpResponse response;
    response.headers = {{"Content-Type", "text/plain"}};
    response.body = request.method + ' ' + request.target + ' ' + request.body;
    if (request.target == "/long") {
      response.body.assign(1'000'000, 'a');
    }
    if (request.target == "/trailers") {
      response.chunked = true;
      response.trailers = {{"X-Trailer", "behind"}};
    }
    response.compressible = true;
    response.fault = faults_.Match(request.method, request.target);
    return response;
  }

  FaultTable faults_;
  HttpServer server_;
  const std::string scheme_;
  unsigned short port_ = 0;
};

class Transport : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Http, Transport, testing::Values(false, true),
                         [](const auto& param) { return param.param ? "Tls" : "Plain"; });

TEST_P(Transport, AnswersOnOneConnectionUntilToldToClose) {
  EchoServer echo(GetParam());
  CurlFetch curl;
  Fetched first = curl.Get(echo.Url("/a?b=%20c"));
  EXPECT_EQ(first.status, 200);
  EXPECT_EQ(first.body, "GET /a?b=%20c ");
  EXPECT_EQ(first.newConnections, 1);

  CurlFetch::Settings post;
  post.body = "text";
  Fetched second = curl.Get(echo.Url("/a"), post);
  EXPECT_EQ(second.body, "POST /a text");
  EXPECT_EQ(second.newConnections, 0);

  CurlFetch::Settings head;
  head.method = "HEAD";
  Fetched third = curl.Get(echo.Url("/long"), head);
  EXPECT_EQ(third.headers["content-length"], "1000000");
  EXPECT_EQ(third.body, "");

  CurlFetch::Settings close;
  close.headers = {"Connection: close"};
  Fetched fourth = curl.Get(echo.Url("/long"), close);
  EXPECT_EQ(fourth.body.size(), 1'000'000U);
  EXPECT_EQ(fourth.newConnections, 0);
  EXPECT_EQ(curl.Get(echo.Url("/trailers")).body, "GET /trailers ");
  EXPECT_EQ(echo.Server().Counted().connections, 2U);
  EXPECT_EQ(echo.Server().Counted().requests, 5U);
}

TEST_P(Transport, CompressesForClientsThatAcceptIt) {
  EchoServer echo(GetParam());
  CurlFetch curl;
  CurlFetch::Settings settings;
  settings.acceptEncoding = "gzip";
  Fetched fetched = curl.Get(echo.Url("/long"), settings);
  EXPECT_EQ(fetched.headers["content-encoding"], "gzip");
  EXPECT_LT(std::stoul(fetched.headers["content-length"]), 10'000U);
  EXPECT_EQ(fetched.body, std::string(1'000'000, 'a'));
}

TEST_P(Transport, StopsWhileConnectionsAreOpenAndAnswersUnderWay) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<std::thread> clients;
  {
    EchoServer echo(GetParam(), {"/slow delay=600000", "/hang end=hang", "/endless endless=1"});
    for (const char* path : {"/slow", "/hang", "/endless"}) {
      clients.emplace_back([url = echo.Url(path)] { CurlFetch().Get(url); });
    }
    while (echo.Server().Counted().requests < 3) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  for (std::thread& client : clients) {
    client.join();
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(HttpServer, ServesIpv6AndACertificateThatClientsCanCheck) {
  EchoServer echo(true);
  const TemporaryFolder folder;
  CurlFetch::Settings settings;
  settings.caFile = folder.Write("ca.pem", echo.Server().CertificatePem());
  CurlFetch curl;
  for (const char* host : {"127.0.0.1", "localhost"}) {
    EXPECT_EQ(curl.Get(echo.Url("/", host), settings).code, CURLE_OK) << host;
  }
  const CURLcode overIpv6 = curl.Get(echo.Url("/", "[::1]"), settings).code;
  EXPECT_TRUE(overIpv6 == CURLE_OK || overIpv6 == CURLE_COULDNT_CONNECT) << overIpv6;
}

TEST(HttpServer, AnswersWhatIsNoRequestWith400) {
  EchoServer echo(false);
  CurlFetch curl;
  CurlFetch::Settings settings;
  settings.method = "NOT A METHOD";
  EXPECT_EQ(curl.Get(echo.Url("/"), settings).status, 400);
  settings = {};
  settings.headers = {"X-Long: " + std::string(70'000, 'x')};
  EXPECT_EQ(curl.Get(echo.Url("/"), settings).status, 431);
}

struct FaultCase {
  const char* fault;
  CURLcode code;
  long status;
  std::size_t bodySize;
};

void PrintTo(const FaultCase& fault, std::ostream* stream) {
  *stream << fault.fault;
}

/// One request for /x, whose answer has the body "GET /x " and follows redirects.
constexpr FaultCase kFaults[] = {
    {"/x status=404", CURLE_OK, 404, 0},
    {"/x status=503 body=busy", CURLE_OK, 503, 4},
    {"/y status=404", CURLE_OK, 200, 7},
    {"/x method=POST status=404", CURLE_OK, 200, 7},
    {"* skip=1 status=404", CURLE_OK, 200, 7},
    {"/x times=1 redirect=/y", CURLE_OK, 200, 7},
    {"/x redirect=/x", CURLE_TOO_MANY_REDIRECTS, 302, 0},
    {"/x body=ab repeat=1000", CURLE_OK, 200, 2000},
    {"/x body=abc repeat=300001", CURLE_OK, 200, 900003},
    {"/x body=abc repeat=300001 gzip=1", CURLE_OK, 200, 900003},
    {"/x body=abc repeat=30001 chunked=1", CURLE_OK, 200, 90003},
    {"/x body=abc repeat=0", CURLE_OK, 200, 0},
    {"/x body=\"a b\" gzip=1", CURLE_OK, 200, 3},
    {"/x chunked=1 drip-bytes=5 drip-ms=1", CURLE_OK, 200, 7},
    {"/x delay=20", CURLE_OK, 200, 7},
    {"/x content-length=3", CURLE_OK, 200, 3},
    {"/x content-length=30", CURLE_PARTIAL_FILE, 200, 7},
    {"/x content-length=none", CURLE_OK, 200, 7},
    {"/x content-length=none end=reset", CURLE_RECV_ERROR, 200, 7},
    {"/x content-length=-1", CURLE_WEIRD_SERVER_REPLY, 200, 0},
    {"/x header-flood=400", CURLE_RECV_ERROR, 200, 0},
    {"/x garbage=100", CURLE_UNSUPPORTED_PROTOCOL, 0, 0},
    {"/x cut=0", CURLE_GOT_NOTHING, 0, 0},
    {"/x cut=0 end=reset", CURLE_RECV_ERROR, 0, 0},
    {"/x cut-body=4", CURLE_PARTIAL_FILE, 200, 4},
    {"/x cut-body=4 end=reset", CURLE_RECV_ERROR, 200, 4},
    {"/x chunked=1 cut-body=5", CURLE_PARTIAL_FILE, 200, 2},
    {"@accept end=close", CURLE_SSL_CONNECT_ERROR, 0, 0},
    {"@accept garbage=50", CURLE_SSL_CONNECT_ERROR, 0, 0},
    {"@tls end=close", CURLE_GOT_NOTHING, 0, 0},
};

class Faults : public testing::TestWithParam<FaultCase> {};
INSTANTIATE_TEST_SUITE_P(Http, Faults, testing::ValuesIn(kFaults));

TEST_P(Faults, ReachTheClient) {
  const FaultCase& expected = GetParam();
  EchoServer echo(true, {expected.fault});
  CurlFetch curl;
  CurlFetch::Settings settings;
  settings.follow = true;
  settings.acceptEncoding = "gzip";
  const Fetched fetched = curl.Get(echo.Url("/x"), settings);
  EXPECT_EQ(fetched.code, expected.code) << curl_easy_strerror(fetched.code);
  EXPECT_EQ(fetched.status, expected.status);
  EXPECT_EQ(fetched.body.size(), expected.bodySize);
}

TEST(Fault, StrikesAsOftenAsItSays) {
  FaultTable faults;
  faults.Add("/a* skip=1 times=2 status=503");
  faults.Add("/a/b status=404");
  std::vector<unsigned> statuses;
  for (int i = 0; i < 5; ++i) {
    const auto fault = faults.Match("GET", "/a%2Fb");
    statuses.push_back(fault ? fault->status.value_or(0) : 0);
  }
  EXPECT_EQ(statuses, (std::vector<unsigned>{404, 503, 503, 404, 404}));
}

TEST(Fault, RefusesWhatItDoesNotKnow) {
  FaultTable faults;
  for (const char* text : {"", "/a nothing=1", "/a times=x", "/a end=never", "/a header=none", "/a status"}) {
    EXPECT_THROW(faults.Add(text), std::invalid_argument) << text;
  }
}

TEST(Fault, ComesFromAFile) {
  const TemporaryFolder folder;
  const std::string file = folder.Write(
      "faults.json", R"({"faults": [{"path": "/a", "status": 503, "header": ["Retry-After: 1", "X: y"]}]})");
  FaultTable faults;
  faults.AddFile(file);
  const auto fault = faults.Match("GET", "/a?b");
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->headers, (HeaderList{{"Retry-After", "1"}, {"X", "y"}}));
  folder.Write("faults.json",
               R"({"faults": [{"name": "busy", "path": "/a", "status": 503}, {"path": "/a", "status": 404}]})");
  FaultTable sleeping;
  sleeping.AddFile(file);
  EXPECT_EQ(sleeping.Match("GET", "/a")->status, 404U);
  FaultTable wanted;
  wanted.Load({"busy", "/a times=1 status=500"}, file);
  EXPECT_EQ(wanted.Match("GET", "/a")->status, 500U);
  EXPECT_EQ(wanted.Match("GET", "/a")->status, 503U);
  EXPECT_THROW(wanted.Load({"lazy"}, file), std::invalid_argument);

  folder.Write("faults.json", R"({"faults": [{"path": ["/a"], "status": {}}]})");
  EXPECT_THROW(faults.AddFile(file), std::runtime_error);
  std::filesystem::remove(file);
  EXPECT_NO_THROW(faults.AddFile(file));
}

TEST(HttpServer, AnswersSeveralConnectionsAtOnceAndAfterItsLatency) {
  constexpr std::size_t kClients = 4;
  constexpr std::chrono::milliseconds kLatency(20);
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t inside = 0;
  HttpServer server({true, {}, kLatency}, [&](const HttpRequest& /*request*/) {
    std::unique_lock lock(mutex);
    ++inside;
    changed.notify_all();
    HttpResponse response;
    response.status = changed.wait_for(lock, std::chrono::seconds(20), [&] { return inside == kClients; }) ? 200 : 503;
    return response;
  });
  const std::string url = "https://127.0.0.1:" + std::to_string(server.Start(0)) + "/";
  std::vector<std::thread> threads;
  std::atomic<std::size_t> answered = 0;
  for (std::size_t i = 0; i < kClients; ++i) {
    threads.emplace_back([&] {
      const auto start = std::chrono::steady_clock::now();
      const bool right = CurlFetch().Get(url).status == 200 && std::chrono::steady_clock::now() - start >= kLatency;
      answered += right ? 1 : 0;
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(answered, kClients);
}

}  // namespace
}  // namespace Kelvar::Simulator
