#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Test {

class HttpWire;

struct HttpRequest {
  std::string method;
  std::string target;                          ///< path and query as they came
  std::map<std::string, std::string> headers;  ///< keys in lower case
  std::string body;
  int connection = 0;  ///< number of the connection that carried it, from 1

  /// Value of a header by its lower-case name; empty when it was not sent.
  std::string Header(const std::string& name) const;
};

/// What the server sends for one request. Without `raw` it is a well-formed response with a Content-Length.
struct HttpReply {
  HttpReply() = default;
  HttpReply(int statusCode, std::string bodyText) : status(statusCode), body(std::move(bodyText)) {}
  explicit HttpReply(std::string bodyText) : body(std::move(bodyText)) {}

  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  /// When not empty: these bytes are sent as they are, and the fields above are not used.
  std::string raw;
  /// Sent this many times after everything else, for floods.
  std::string repeated;
  u64 repeatCount = 0;

  std::chrono::milliseconds delay{0};       ///< before the first byte
  std::size_t dripBytes = 0;                ///< when not 0: so many bytes at a time,
  std::chrono::milliseconds dripPause{1};   ///< with this pause between them
  std::optional<std::size_t> cutAfter;      ///< close the connection after so many bytes
  bool closeAfter = false;                  ///< close the connection after the reply, without announcing it,
  std::chrono::milliseconds closePause{0};  ///< so much later
  bool resetAfter = false;                  ///< reset it (TCP RST) instead
};

/// What happens to a connection before any request is read.
enum class ConnectionFault { None, CloseAtOnce, ResetAtOnce, CloseAfterFirstBytes, StaySilent };

/// An HTTP or HTTPS server on an ephemeral loopback port that answers from a script; one thread per connection. The
/// certificate is self-signed, for "localhost", and made once per process. Safe to script and to ask from any thread.
/// Its threads end with the object, whatever a client still does.
class ScriptedHttpServer {
 public:
  struct Options {
    bool tls = false;
    bool ipv6 = false;
  };

  ScriptedHttpServer();
  explicit ScriptedHttpServer(Options options);
  ~ScriptedHttpServer();
  ScriptedHttpServer(const ScriptedHttpServer&) = delete;
  ScriptedHttpServer& operator=(const ScriptedHttpServer&) = delete;

  /// Answers `target` ("/path?query", or "POST /path" for one method alone) with the replies in order; the last one
  /// stays. Replaces a former script. Any other target gives 404.
  void On(const std::string& target, std::vector<HttpReply> replies);
  void On(const std::string& target, HttpReply reply) { On(target, std::vector<HttpReply>{std::move(reply)}); }
  /// Asked for every target that has no script. Called on the connection's thread.
  void OnAnythingElse(std::function<HttpReply(const HttpRequest&)> handler);
  /// The next `count` connections get the fault.
  void FailConnections(ConnectionFault fault, int count);

  u16 Port() const { return port_; }
  /// Scheme, host and port, without a slash at the end.
  std::string BaseUrl() const;
  std::string Url(const std::string& target) const { return BaseUrl() + target; }
  /// The certificate in PEM form, for a client that verifies it.
  static std::string CertificatePem();

  /// Connections accepted so far.
  int ConnectionCount() const;
  /// Returns when no connection is open.
  void AwaitAllClosed();
  std::vector<HttpRequest> Requests() const;
  /// Targets of all requests, in order.
  std::vector<std::string> Targets() const;

 private:
  struct Script {
    std::vector<HttpReply> replies;
    std::size_t next = 0;
  };

  void Accept();
  void Serve(int socket, int number, ConnectionFault fault);
  void Talk(HttpWire& wire, int number);
  HttpReply Answer(const HttpRequest& request);
  /// False when the server stops meanwhile.
  bool Pause(std::chrono::milliseconds duration);
  bool Send(HttpWire& wire, const HttpReply& reply);
  ConnectionFault NextFault();

  const Options options_;
  u16 port_ = 0;  ///< before the listener, which sets it
  int listener_ = -1;

  mutable std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopping_ = false;
  std::map<std::string, Script> scripts_;
  std::function<HttpReply(const HttpRequest&)> fallback_;
  std::vector<HttpRequest> requests_;
  ConnectionFault fault_ = ConnectionFault::None;
  int faultsLeft_ = 0;
  int connections_ = 0;
  std::map<int, int> openSockets_;  ///< connection number to descriptor
  std::condition_variable closed_;
  std::vector<std::thread> connectionThreads_;
  std::thread acceptThread_;
};

}  // namespace Kelvar::Test
