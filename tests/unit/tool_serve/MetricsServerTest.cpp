// Clients that take what they can: connections, time, places.

#include <map>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/asio/connect.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include "support/Command.h"
#include "support/TestCertificates.h"
#include "tools/kelvar/serve/MetricsServer.h"

namespace Kelvar::Test {
namespace {

using namespace Tool::Serve;
using boost::asio::ip::tcp;
using Error = boost::system::error_code;

constexpr const char* kRequest = "GET /metrics HTTP/1.1\r\nHost: h\r\n\r\n";

/// A server that answers "/metrics", never "/hang", and to "/hanging" how many of those wait.
class Server {
 public:
  explicit Server(HttpLimits limits = {}, std::shared_ptr<const WebConfig> web = std::make_shared<WebConfig>())
      : checks_(context_),
        server_(
            context_, {boost::asio::ip::address_v4::any(), 0},
            [this](const HttpRequest& asked, MetricsServer::Respond respond) {
              return Handle(asked, std::move(respond));
            },
            checks_, std::move(web), limits),
        thread_([this] { context_.run(); }) {}
  ~Server() {
    context_.stop();
    thread_.join();
    hanging_.clear();
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string Url() const { return "https://127.0.0.1:" + std::to_string(server_.Endpoint().port()) + "/metrics"; }

  /// A connection from a loopback address, on which `text` is sent.
  tcp::socket Connect(const std::string& text, const char* from = "127.0.0.1") {
    tcp::socket socket(clients_);
    socket.open(tcp::v4());
    socket.bind({boost::asio::ip::make_address(from), 0});
    socket.connect({boost::asio::ip::make_address("127.0.0.1"), server_.Endpoint().port()});
    Error ignored;
    boost::asio::write(socket, boost::asio::buffer(text), ignored);
    return socket;
  }

 private:
  MetricsServer::Cancel Handle(const HttpRequest& asked, MetricsServer::Respond respond) {
    if (asked.target == "/hang") {
      hanging_.emplace(++last_, std::move(respond));
      return [this, number = last_] { hanging_.erase(number); };
    }
    std::string body = "fine";
    if (asked.target == "/large") {
      body = std::string(5 << 20, 'x');
    } else if (asked.target == "/hanging") {
      body = std::to_string(hanging_.size()) + " fine";
    }
    respond({200, "text/plain", std::move(body)});
    return {};
  }

  boost::asio::io_context context_;
  boost::asio::io_context clients_;
  std::map<int, MetricsServer::Respond> hanging_;
  int last_ = 0;
  PasswordChecks checks_;
  MetricsServer server_;
  std::thread thread_;
};

/// What comes until the server closes, or the answer's last word.
std::string Answer(tcp::socket& socket, const std::string& last = "fine") {
  std::string text;
  Error error;
  for (char letter = 0; !error && text.find(last) == std::string::npos; text += error ? "" : std::string(1, letter)) {
    boost::asio::read(socket, boost::asio::buffer(&letter, 1), error);
  }
  return text;
}

TEST(MetricsServer, LetsAScrapeInWhileHostileConnectionsStay) {
  const struct {
    const char* sends;
    std::size_t connections;
  } kinds[] = {{"", 2000},
               {"GET /met", 2000},
               {kRequest, 2000},
               {"GET /hang HTTP/1.1\r\nHost: h\r\n\r\n", 2000},
               {"GET /large HTTP/1.1\r\nHost: h\r\n\r\n", 100}};
  HttpLimits limits;
  limits.connections = 40;
  limits.connectionsOfAddress = 20;
  for (const auto& kind : kinds) {
    Server server(limits);
    std::vector<tcp::socket> open;
    for (std::size_t number = 0; number < kind.connections; ++number) {
      open.push_back(server.Connect(kind.sends, number % 2 == 0 ? "127.0.0.1" : "127.0.0.2"));
    }
    for (const char* const from : {"127.0.0.1", "127.0.0.3"}) {
      tcp::socket scrape = server.Connect(kRequest, from);
      EXPECT_THAT(Answer(scrape), testing::HasSubstr("fine")) << "'" << kind.sends << "' from " << from;
    }
    tcp::socket count = server.Connect("GET /hanging HTTP/1.1\r\nHost: h\r\n\r\n");
    EXPECT_THAT(Answer(count), testing::ContainsRegex("\n([0-9]|[1-3][0-9]) fine"));
  }
}

std::shared_ptr<const WebConfig> WithTls(const TemporaryFolder& folder) {
  MakeCertificate(folder, "server");
  return LoadWebConfig(folder.Write("web.yml", "tls_server_config: {cert_file: server.crt, key_file: server.key}\n"));
}

TEST(MetricsServer, LetsAScrapeInOverTlsWhileHostileConnectionsStay) {
  const TemporaryFolder folder;
  const std::string record("\x16\x03\x01\x02\x00\x01", 6);  // the begin of a greeting
  HttpLimits limits;
  limits.connections = 40;
  limits.connectionsOfAddress = 20;
  const auto web = WithTls(folder);
  for (const std::string& sent : {std::string(), record, std::string(kRequest)}) {
    Server server(limits, web);
    std::vector<tcp::socket> open;
    for (std::size_t number = 0; number < 2000; ++number) {
      open.push_back(server.Connect(sent, number % 2 == 0 ? "127.0.0.1" : "127.0.0.2"));
    }
    const CommandResult scrape =
        RunCommand({"curl", "-sS", "--cacert", folder / "server.crt", server.Url(), server.Url()});
    EXPECT_EQ(scrape.output, "finefine") << scrape.errors;
  }
}

TEST(MetricsServer, WaitsForAHandshakeNoLongerThanItsLimit) {
  const TemporaryFolder folder;
  HttpLimits limits;
  limits.header = std::chrono::milliseconds(100);
  Server server(limits, WithTls(folder));
  for (const std::string& sent : {std::string(), std::string("\x16\x03\x01\x02", 4), std::string(kRequest)}) {
    tcp::socket slow = server.Connect(sent);
    EXPECT_EQ(Answer(slow).find("HTTP"), std::string::npos);  // ends because the server closes
  }
}

TEST(MetricsServer, KeepsTheConnectionsOfOthersBesideThoseOfOneAddress) {
  HttpLimits limits;
  limits.connections = 20;
  limits.connectionsOfAddress = 12;
  Server server(limits);
  tcp::socket waiting = server.Connect("GET /hang HTTP/1.1\r\nHost: h\r\n\r\n", "127.0.0.2");
  tcp::socket kept = server.Connect(kRequest, "127.0.0.3");
  EXPECT_THAT(Answer(kept), testing::HasSubstr("fine"));
  std::vector<tcp::socket> flood;
  for (int number = 0; number < 200; ++number) {
    flood.push_back(server.Connect(kRequest));
    EXPECT_THAT(Answer(flood.back()), testing::HasSubstr("fine"));
  }
  boost::asio::write(kept, boost::asio::buffer(std::string(kRequest)));
  EXPECT_THAT(Answer(kept), testing::HasSubstr("fine"));
  EXPECT_EQ(Answer(flood.front()), "") << "the oldest of the flood is closed";
  waiting.non_blocking(true);
  char letter = 0;
  Error error;
  waiting.read_some(boost::asio::buffer(&letter, 1), error);
  EXPECT_EQ(error, boost::asio::error::would_block);
}

TEST(MetricsServer, HoldsNoMoreBytesForSlowReadersThanItsLimit) {
  const std::string large = "GET /large HTTP/1.1\r\nHost: h\r\n\r\n";
  HttpLimits limits;
  limits.pendingBytes = 22 << 20;  // four answers
  Server server(limits);
  std::vector<tcp::socket> slow;
  for (int number = 0; number < 6; ++number) {
    slow.push_back(server.Connect(large));
    char letter = 0;  // so that the answer has begun
    boost::asio::read(slow.back(), boost::asio::buffer(&letter, 1));
  }
  std::size_t whole = 0;
  for (tcp::socket& socket : slow) {
    std::string answer;
    Error error;
    boost::asio::read(socket, boost::asio::dynamic_buffer(answer, large.size() + (5 << 20)), error);
    whole += answer.size() > 5 << 20 ? 1U : 0U;
  }
  EXPECT_EQ(whole, 4U);
}

TEST(MetricsServer, WaitsForAHeaderNoLongerThanItsLimit) {
  HttpLimits limits;
  limits.header = std::chrono::milliseconds(100);
  Server server(limits);
  for (const char* const kind : {"", "GET /met", "GET /metrics HTTP/1.1\r\nHost: h\r\n"}) {
    tcp::socket slow = server.Connect(kind);
    EXPECT_EQ(Answer(slow), "") << kind;  // ends because the server closes
  }
}

TEST(MetricsServer, AnswersPipelinedRequestsBeforeOneThatDoesNotEnd) {
  HttpLimits limits;
  limits.header = std::chrono::seconds(1);
  Server server(limits);
  tcp::socket pipelined = server.Connect(kRequest + std::string(kRequest) + "GET /hal");
  EXPECT_THAT(Answer(pipelined, "never"), testing::HasSubstr("fineHTTP/1.1 200"));
}

}  // namespace
}  // namespace Kelvar::Test
