#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/http/HttpMessage.h"

namespace Kelvar::Simulator {

/// HTTP/1.1 on 127.0.0.1 and, where there is one, ::1; a thread for each connection. Connections are kept alive.
class HttpServer {
 public:
  /// Answers a request. Called by several threads at a time; what it throws becomes a status of 500.
  using Handler = std::function<HttpResponse(const HttpRequest& request)>;

  struct Options {
    /// TLS with a self-signed certificate that is made at start.
    bool tls = false;
    /// Asked with "@accept" for each connection and with "@tls" after each handshake; a fault then applies.
    std::function<std::optional<Fault>(std::string_view stage)> connectionFault;
    /// Before each answer.
    std::chrono::milliseconds latency{0};
  };

  struct Counts {
    std::size_t connections = 0;
    std::size_t requests = 0;
  };

  HttpServer(Options options, Handler handler);
  /// Stops: open connections end at once, waits and endless answers included.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  /// Listens on `port`, or on a free one when it is 0, and gives the port. Throws std::runtime_error. Once only.
  unsigned short Start(unsigned short port);

  /// Connections accepted and requests read so far.
  Counts Counted() const;

  /// The certificate as PEM; empty without TLS.
  const std::string& CertificatePem() const;

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace Kelvar::Simulator
