#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "simulator/http/Fault.h"

namespace Kelvar::Simulator {

struct HttpRequest {
  std::string method;
  /// Path and query as they came, percent-encoding included.
  std::string target;
  HeaderList headers;
  std::string body;
  bool keepAlive = true;

  bool IsHead() const { return method == "HEAD"; }
};

struct HttpResponse {
  unsigned status = 200;
  HeaderList headers;
  std::string body;
  /// Gives a long body piece by piece, in chunks and in place of `body`: appends the next piece to the text, and
  /// returns false when it was the last one.
  std::function<bool(std::string& piece)> source;
  /// Sent after a chunked body.
  HeaderList trailers;
  bool chunked = false;
  /// Whether a client that accepts gzip gets the body compressed.
  bool compressible = false;
  /// What goes wrong on the way.
  std::optional<Fault> fault;
};

struct Credentials {
  std::string user;
  std::string password;
};

/// The value of the first header of that name (in any case), or nullptr.
const std::string* FindHeader(const HeaderList& headers, std::string_view name);

/// Puts the header in, in place of one of the same name.
void SetHeader(HeaderList& headers, std::string_view name, std::string value);

/// What an Authorization header of basic authentication says; nothing when there is none that can be read.
std::optional<Credentials> BasicCredentials(const HttpRequest& request);

/// The text with each %XX as its byte; a % without two hexadecimal digits stays.
std::string PercentDecode(std::string_view text);

/// The words after a status number.
std::string_view ReasonPhrase(unsigned status);

}  // namespace Kelvar::Simulator
