#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "tools/kelvar/serve/PasswordChecks.h"
#include "tools/kelvar/serve/WebConfig.h"

namespace Kelvar::Tool::Serve {

enum class HttpMethod { Get, Post };

struct HttpRequest {
  std::string target;         ///< path and query as they came
  std::string scrapeTimeout;  ///< X-Prometheus-Scrape-Timeout-Seconds
  HttpMethod method = HttpMethod::Get;
  bool fromOtherSite = false;  ///< a browser says that a page of another site made it
};

struct HttpResponse {
  unsigned status = 200;
  std::string contentType = "text/plain; charset=utf-8";
  std::string body;
  std::string allowed = {};                                           ///< methods, of a 405
  std::string policy = "default-src 'none'; frame-ancestors 'none'";  ///< for browsers: Content-Security-Policy
};

/// What clients may take.
struct HttpLimits {
  std::size_t connections = 512;
  std::size_t connectionsOfAddress = 256;
  /// To send a request, the first one from connecting on; and before that to shake hands for TLS.
  std::chrono::milliseconds header = std::chrono::seconds(5);
  std::chrono::milliseconds idle = std::chrono::seconds(150);     ///< between two; scrapes come every minute or so
  std::size_t pendingBytes = std::size_t{64} << 20;               ///< of all answers that are being read
  std::chrono::milliseconds response = std::chrono::seconds(30);  ///< to read one
};

/// HTTP/1.1 for GET, HEAD and POST without a body, on one thread: that of io_context::run(). Connections are kept alive
/// within limits: a new one is always let in, and takes the place of the one that has waited longest for its client.
class MetricsServer {
 public:
  /// Called once for each request, from the server's thread.
  using Respond = std::function<void(HttpResponse response)>;
  /// Called when the connection is closed before the answer, which nobody waits for then. May be empty.
  using Cancel = std::function<void()>;
  using Handler = std::function<Cancel(const HttpRequest& request, const Respond& respond)>;

  /// Listens. Throws boost::system::system_error. `checks` must outlive the object.
  MetricsServer(boost::asio::io_context& context, const boost::asio::ip::tcp::endpoint& endpoint, Handler handler,
                PasswordChecks& checks, std::shared_ptr<const WebConfig> web, HttpLimits limits = {});
  ~MetricsServer();
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;

  boost::asio::ip::tcp::endpoint Endpoint() const;

  /// Certificates count for connections that come from now on, users and headers for requests.
  void Use(std::shared_ptr<const WebConfig> web);

  /// Accepts no more, and closes connections as soon as their request is answered.
  void Stop();

 private:
  class Session;
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace Kelvar::Tool::Serve
