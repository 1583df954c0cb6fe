#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace Kelvar::Tool::Serve {

struct HttpRequest {
  std::string target;         ///< path and query as they came
  std::string scrapeTimeout;  ///< X-Prometheus-Scrape-Timeout-Seconds
};

struct HttpResponse {
  unsigned status = 200;
  std::string contentType = "text/plain; charset=utf-8";
  std::string body;
};

/// What clients may take.
struct HttpLimits {
  std::size_t connections = 512;
  std::size_t connectionsOfAddress = 256;
  std::chrono::milliseconds header = std::chrono::seconds(5);  ///< to send a request; the first one from connecting on
  std::chrono::milliseconds idle = std::chrono::seconds(150);  ///< between two; scrapes come every minute or so
  std::size_t pendingBytes = std::size_t{64} << 20;            ///< of all answers that are being read
  std::chrono::milliseconds response = std::chrono::seconds(30);  ///< to read one
};

/// HTTP/1.1 for GET requests, on one thread: that of io_context::run(). Connections are kept alive within limits: a new
/// one is always let in, and takes the place of the one that has waited longest for its client.
class MetricsServer {
 public:
  /// Called once for each request, from the server's thread.
  using Respond = std::function<void(HttpResponse response)>;
  /// Called when the connection is closed before the answer, which nobody waits for then. May be empty.
  using Cancel = std::function<void()>;
  using Handler = std::function<Cancel(const HttpRequest& request, Respond respond)>;

  /// Listens. Throws boost::system::system_error.
  MetricsServer(boost::asio::io_context& context, const boost::asio::ip::tcp::endpoint& endpoint, Handler handler,
                HttpLimits limits = {});
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  boost::asio::ip::tcp::endpoint Endpoint() const;

  /// Accepts no more, and closes connections as soon as their request is answered.
  void Stop();

 private:
  class Session;
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace Kelvar::Tool::Serve
