#include "support/HttpWire.h"

#include <sys/socket.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace Kelvar::Test {

namespace {

class PlainWire : public HttpWire {
 public:
  explicit PlainWire(int socket) : socket_(socket) {}

  long Read(char* buffer, std::size_t size) override { return recv(socket_, buffer, size, 0); }

  bool Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const auto sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) {
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }

 private:
  const int socket_;
};

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

std::string Trim(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

HttpRequest ParseHead(const std::string& head) {
  HttpRequest request;
  const auto lineEnd = head.find("\r\n");
  const std::string first = head.substr(0, lineEnd);
  const auto space = first.find(' ');
  request.method = first.substr(0, space);
  request.target = first.substr(space + 1, first.rfind(' ') - space - 1);
  for (std::size_t at = lineEnd + 2; at < head.size();) {
    const auto end = head.find("\r\n", at);
    const std::string line = head.substr(at, end - at);
    const auto colon = line.find(':');
    if (colon != std::string::npos) {
      request.headers[Lower(line.substr(0, colon))] = Trim(line.substr(colon + 1));
    }
    at = end + 2;
  }
  return request;
}

std::size_t ParseSize(const std::string& text, int base) {
  std::size_t size = 0;
  std::from_chars(text.data(), text.data() + text.size(), size, base);
  return size;
}

}  // namespace

std::unique_ptr<HttpWire> HttpWire::Plain(int socket) {
  return std::make_unique<PlainWire>(socket);
}

bool HttpWire::Fill() {
  char buffer[16384];
  const long got = Read(buffer, sizeof buffer);
  if (got <= 0) {
    return false;
  }
  pending_.append(buffer, static_cast<std::size_t>(got));
  return true;
}

std::optional<std::string> HttpWire::TakeUntil(std::string_view end) {
  std::size_t at = 0;
  while ((at = pending_.find(end)) == std::string::npos) {
    if (!Fill()) {
      return std::nullopt;
    }
  }
  return Take(at + end.size());
}

std::optional<std::string> HttpWire::Take(std::size_t count) {
  while (pending_.size() < count) {
    if (!Fill()) {
      return std::nullopt;
    }
  }
  std::string taken = pending_.substr(0, count);
  pending_.erase(0, count);
  return taken;
}

std::optional<std::string> HttpWire::TakeChunked() {
  std::string body;
  for (;;) {
    const auto line = TakeUntil("\r\n");
    if (!line) {
      return std::nullopt;
    }
    const std::size_t size = ParseSize(*line, 16);
    const auto chunk = Take(size + 2);
    if (!chunk) {
      return std::nullopt;
    }
    if (size == 0) {
      return body;
    }
    body.append(*chunk, 0, size);
  }
}

std::optional<HttpRequest> HttpWire::ReadRequest() {
  const auto head = TakeUntil("\r\n\r\n");
  if (!head) {
    return std::nullopt;
  }
  HttpRequest request = ParseHead(*head);
  if (Lower(request.Header("expect")) == "100-continue" && !Write("HTTP/1.1 100 Continue\r\n\r\n")) {
    return std::nullopt;
  }
  auto body = Lower(request.Header("transfer-encoding")) == "chunked"
                  ? TakeChunked()
                  : Take(ParseSize(request.Header("content-length"), 10));
  if (!body) {
    return std::nullopt;
  }
  request.body = std::move(*body);
  return request;
}

}  // namespace Kelvar::Test
