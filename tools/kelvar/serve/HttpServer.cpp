#include "tools/kelvar/serve/HttpServer.h"

#include <optional>
#include <set>
#include <utility>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

namespace Kelvar::Tool::Serve {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::size_t connectionLimit = 512;
constexpr std::size_t pieceBytes = 4096;
constexpr std::uint32_t headerLimit = 16 * 1024;
constexpr auto idleLimit = std::chrono::seconds(150);  // scrapes come every minute or so
constexpr auto requestLimit = std::chrono::seconds(10);
constexpr auto responseLimit = std::chrono::seconds(30);
constexpr auto pauseWithoutDescriptors = std::chrono::milliseconds(100);

bool IsProtocolError(const Error& error) {
  return error.category() == make_error_code(http::error::bad_method).category() &&
         error != http::error::end_of_stream && error != http::error::partial_message;
}

unsigned StatusOf(const Error& error) {
  if (error == http::error::body_limit) {
    return 413;
  }
  return error == http::error::header_limit || error == http::error::buffer_overflow ? 431 : 400;
}

}  // namespace

struct HttpServer::State : std::enable_shared_from_this<State> {
  State(asio::io_context& io, Handler handle) : context(io), acceptor(io), pause(io), handler(std::move(handle)) {}

  void Listen(const tcp::endpoint& endpoint) {
    acceptor.open(endpoint.protocol());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind(endpoint);
    acceptor.listen();
    Accept();
  }
  void Accept();

  asio::io_context& context;
  tcp::acceptor acceptor;
  asio::steady_timer pause;
  Handler handler;
  std::set<Session*> sessions;
  bool stopping = false;
};

/// One connection. Lives as long as an operation on it is under way.
class HttpServer::Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, std::shared_ptr<State> state) : stream_(std::move(socket)), state_(std::move(state)) {
    state_->sessions.insert(this);
  }
  ~Session() { state_->sessions.erase(this); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Begin() {
    if (buffer_.size() > 0) {
      Read();
      return;
    }
    idle_ = true;
    stream_.expires_after(idleLimit);
    stream_.async_read_some(buffer_.prepare(pieceBytes), [self = shared_from_this()](Error error, std::size_t count) {
      self->idle_ = false;
      if (!error) {
        self->buffer_.commit(count);
        self->Read();
      }
    });
  }

  void CloseIfIdle() {
    if (idle_) {
      stream_.close();
    }
  }

 private:
  void Read() {
    parser_.emplace();
    parser_->header_limit(headerLimit);
    parser_->body_limit(std::uint64_t{0});
    stream_.expires_after(requestLimit);
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](Error error, std::size_t) { self->Answer(error); });
  }

  void Answer(const Error& error) {
    stream_.expires_never();
    if (IsProtocolError(error)) {
      keepAlive_ = false;
      return Write({StatusOf(error), "text/plain; charset=utf-8", "not a request that is served here\n"});
    }
    if (error) {
      return;
    }
    const auto& request = parser_->get();
    keepAlive_ = request.keep_alive();
    if (request.method() != http::verb::get) {
      return Write({405, "text/plain; charset=utf-8", "GET alone is served here\n"});
    }
    const auto timeout = request["X-Prometheus-Scrape-Timeout-Seconds"];
    state_->handler({std::string(request.target()), std::string(timeout)},
                    [self = shared_from_this()](HttpResponse response) { self->Write(std::move(response)); });
  }

  void Write(HttpResponse response) {
    response_ = {};
    response_.version(11);
    response_.result(response.status);
    response_.set(http::field::content_type, response.contentType);
    response_.set("X-Content-Type-Options", "nosniff");
    if (response.status == 405) {
      response_.set(http::field::allow, "GET");
    }
    response_.keep_alive(keepAlive_ && !state_->stopping);
    response_.body() = std::move(response.body);
    response_.prepare_payload();
    stream_.expires_after(responseLimit);
    http::async_write(stream_, response_,
                      [self = shared_from_this()](Error error, std::size_t) { self->Continue(error); });
  }

  void Continue(const Error& error) {
    if (error) {
      return;
    }
    if (response_.keep_alive()) {
      response_ = {};
      Begin();
    } else {
      Error ignored;
      stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
    }
  }

  beast::tcp_stream stream_;
  std::shared_ptr<State> state_;
  beast::flat_buffer buffer_{headerLimit + pieceBytes};
  std::optional<http::request_parser<http::empty_body>> parser_;
  http::response<http::string_body> response_;
  bool keepAlive_ = false;
  bool idle_ = false;
};

void HttpServer::State::Accept() {
  acceptor.async_accept([self = shared_from_this()](Error error, tcp::socket socket) {
    if (self->stopping) {
      return;
    }
    if (!error && self->sessions.size() < connectionLimit) {
      std::make_shared<Session>(std::move(socket), self)->Begin();
    }
    if (!error) {
      return self->Accept();
    }
    self->pause.expires_after(pauseWithoutDescriptors);
    self->pause.async_wait([self](Error) { self->stopping ? void() : self->Accept(); });
  });
}

HttpServer::HttpServer(asio::io_context& context, const tcp::endpoint& endpoint, Handler handler)
    : state_(std::make_shared<State>(context, std::move(handler))) {
  state_->Listen(endpoint);
}

HttpServer::~HttpServer() = default;

tcp::endpoint HttpServer::Endpoint() const {
  return state_->acceptor.local_endpoint();
}

void HttpServer::Stop() {
  state_->stopping = true;
  Error ignored;
  state_->acceptor.close(ignored);
  state_->pause.cancel();
  for (Session* session : state_->sessions) {
    session->CloseIfIdle();
  }
}

}  // namespace Kelvar::Tool::Serve
