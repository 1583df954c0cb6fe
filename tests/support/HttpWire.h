#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "support/ScriptedHttpServer.h"

namespace Kelvar::Test {

/// The byte stream of one accepted connection, plain or under TLS. Does not own the socket.
class HttpWire {
 public:
  virtual ~HttpWire() = default;
  /// Bytes read; 0 or less at the end.
  virtual long Read(char* buffer, std::size_t size) = 0;
  virtual bool Write(std::string_view bytes) = 0;

  /// The next request; none when the connection ended first. Answers "Expect: 100-continue".
  std::optional<HttpRequest> ReadRequest();

  static std::unique_ptr<HttpWire> Plain(int socket);
  /// Null when the handshake failed.
  static std::unique_ptr<HttpWire> Tls(int socket);

 private:
  bool Fill();
  std::optional<std::string> TakeUntil(std::string_view end);
  std::optional<std::string> Take(std::size_t count);
  std::optional<std::string> TakeChunked();

  std::string pending_;
};

}  // namespace Kelvar::Test
