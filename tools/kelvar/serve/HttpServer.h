#pragma once

#include <chrono>
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

/// HTTP/1.1 for GET requests, on one thread: that of io_context::run(). Connections are kept alive. Bounded are their
/// number, the size of a request and the time that a client takes to send one, to read an answer, and between two.
class HttpServer {
 public:
  /// Called once for each request, from the server's thread.
  using Respond = std::function<void(HttpResponse response)>;
  using Handler = std::function<void(const HttpRequest& request, Respond respond)>;

  /// Listens. Throws boost::system::system_error.
  HttpServer(boost::asio::io_context& context, const boost::asio::ip::tcp::endpoint& endpoint, Handler handler);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  boost::asio::ip::tcp::endpoint Endpoint() const;

  /// Accepts no more, and closes connections as soon as their request is answered.
  void Stop();

 private:
  class Session;
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace Kelvar::Tool::Serve
