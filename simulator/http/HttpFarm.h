#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "simulator/http/HttpMessage.h"

namespace Kelvar::Simulator {

/// Many HTTP/1.1 servers on 127.0.0.1 that share one event loop, its threads and one certificate. An answer is made
/// whole before it goes out, and one that has no end is cut: a single server that streams is HttpServer's.
class HttpFarm {
 public:
  struct Site {
    bool tls = true;
    /// As HttpServer's. Called by one of the farm's threads, by several at a time.
    std::function<HttpResponse(const HttpRequest& request)> handler;
    std::function<std::optional<Fault>(std::string_view stage)> connectionFault = {};
    /// Before each answer.
    std::chrono::milliseconds latency{0};
  };

  explicit HttpFarm(unsigned threads);
  /// Stops: open connections end at once.
  ~HttpFarm();
  HttpFarm(const HttpFarm&) = delete;
  HttpFarm& operator=(const HttpFarm&) = delete;

  /// Listens on `port`, or on a free one when it is 0, and gives the port. Throws std::runtime_error. Before Start().
  unsigned short Add(unsigned short port, Site site);

  /// Takes a port on which every connection is refused, and gives it. Throws std::runtime_error.
  unsigned short AddClosed(unsigned short port);

  /// Begins to serve. Once only.
  void Start();

 private:
  class Farm;
  std::unique_ptr<Farm> farm_;
};

}  // namespace Kelvar::Simulator
