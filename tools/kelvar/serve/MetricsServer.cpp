#include "tools/kelvar/serve/MetricsServer.h"

#include <optional>
#include <utility>

#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include "tools/kelvar/serve/Connections.h"

namespace Kelvar::Tool::Serve {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;
using Error = boost::system::error_code;

constexpr std::size_t kPieceBytes = 4096;
constexpr std::uint32_t kHeaderBytes = 16 * 1024;
constexpr auto kPauseWithoutDescriptors = std::chrono::milliseconds(100);

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

struct MetricsServer::State : std::enable_shared_from_this<State> {
  State(asio::io_context& io, Handler handle, PasswordChecks& passwords, std::shared_ptr<const WebConfig> protection,
        HttpLimits bounds)
      : context(io),
        acceptor(io),
        pause(io),
        handler(std::move(handle)),
        checks(passwords),
        web(std::move(protection)),
        limits(bounds),
        connections(limits.connections, limits.connectionsOfAddress) {}

  void Listen(const tcp::endpoint& endpoint) {
    acceptor.open(endpoint.protocol());
    acceptor.set_option(tcp::acceptor::reuse_address(true));
    acceptor.bind(endpoint);
    acceptor.listen();
    Accept();
  }
  void Accept();
  void Begin(tcp::socket socket);

  asio::io_context& context;
  tcp::acceptor acceptor;
  asio::steady_timer pause;
  Handler handler;
  PasswordChecks& checks;
  std::shared_ptr<const WebConfig> web;
  const HttpLimits limits;
  Connections connections;
  std::size_t pendingBytes = 0;  ///< of answers that are being written
  bool stopping = false;
};

/// One connection. Lives as long as an operation on it is under way.
class MetricsServer::Session : public Connections::Entry, public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, std::shared_ptr<State> state) : stream_(std::move(socket)), state_(std::move(state)) {}
  ~Session() override {
    state_->connections.Leave(*this);
    Account(0);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Shakes hands where there is TLS, then waits for the first request.
  void Start() {
    if (state_->web->tls == nullptr) {
      return Begin(state_->limits.header);
    }
    tls_.emplace(stream_, *state_->web->tls);
    state_->connections.Wait(*this, Connections::Phase::Client);
    idle_ = true;
    stream_.expires_after(state_->limits.header);
    tls_->async_handshake(asio::ssl::stream_base::server, [self = shared_from_this()](Error error) {
      if (!error) {
        self->Begin(self->state_->limits.header);
      }
    });
  }

  /// Waits for a request: the first one not for long.
  void Begin(std::chrono::milliseconds timeLimit) {
    state_->connections.Wait(*this, Connections::Phase::Client);
    if (buffer_.size() > 0) {
      Read();
      return;
    }
    idle_ = true;
    stream_.expires_after(timeLimit);
    OnStream([this](auto& stream) {
      stream.async_read_some(buffer_.prepare(kPieceBytes), [self = shared_from_this()](Error error, std::size_t count) {
        self->idle_ = false;
        if (!error) {
          self->buffer_.commit(count);
          self->Read();
        }
      });
    });
  }

  void Close() override {
    Account(0);
    stream_.close();
    if (const Cancel cancel = std::exchange(cancel_, {})) {
      cancel();
    }
  }

  bool IsIdle() const { return idle_; }

 private:
  /// Calls `use` with what requests come over.
  template <class Use>
  void OnStream(Use use) {
    if (tls_) {
      use(*tls_);
    } else {
      use(stream_);
    }
  }

  void Read() {
    parser_.emplace();
    parser_->header_limit(kHeaderBytes);
    parser_->body_limit(std::uint64_t{0});
    stream_.expires_after(state_->limits.header);
    OnStream([this](auto& stream) {
      http::async_read(stream, buffer_, *parser_,
                       [self = shared_from_this()](Error error, std::size_t) { self->Answer(error); });
    });
  }

  void Answer(const Error& error) {
    stream_.expires_never();
    state_->connections.Wait(*this, Connections::Phase::Handler);
    isHead_ = false;
    if (IsProtocolError(error)) {
      keepAlive_ = false;
      return Write({StatusOf(error), "text/plain; charset=utf-8", "not a request that is served here\n"});
    }
    if (error) {
      return;
    }
    keepAlive_ = parser_->get().keep_alive();
    isHead_ = parser_->get().method() == http::verb::head;
    const auto authorization = parser_->get()[http::field::authorization];
    state_->checks.Check(state_->web->users, {authorization.data(), authorization.size()},
                         [self = shared_from_this()](PasswordChecks::Outcome outcome) { self->Admit(outcome); });
  }

  void Admit(PasswordChecks::Outcome outcome) {
    if (!stream_.socket().is_open()) {  // closed meanwhile
      return;
    }
    if (outcome == PasswordChecks::Outcome::Good) {
      return Handle();
    }
    if (outcome == PasswordChecks::Outcome::Busy) {
      return Write({503, "text/plain; charset=utf-8", "too many logins are being checked\n"});
    }
    Write({401, "text/plain; charset=utf-8", "a user and a password are needed\n"});
  }

  void Handle() {
    const auto& request = parser_->get();
    const bool isPost = request.method() == http::verb::post;
    if (!isHead_ && !isPost && request.method() != http::verb::get) {
      return Write({405, "text/plain; charset=utf-8", "this method is not served here\n", "GET, HEAD"});
    }
    const auto site = request["Sec-Fetch-Site"];
    isAnswered_ = false;
    Cancel cancel = state_->handler(
        {std::string(request.target()), std::string(request["X-Prometheus-Scrape-Timeout-Seconds"]),
         isPost ? HttpMethod::Post : HttpMethod::Get, !site.empty() && site != "same-origin" && site != "none"},
        [self = shared_from_this()](HttpResponse response) { self->Write(std::move(response)); });
    cancel_ = isAnswered_ ? Cancel() : std::move(cancel);
  }

  void Write(HttpResponse response) {
    state_->connections.Wait(*this, Connections::Phase::Response);
    isAnswered_ = true;
    cancel_ = {};
    response_ = {};
    response_.version(11);
    response_.result(response.status);
    response_.set(http::field::content_type, response.contentType);
    response_.set("X-Content-Type-Options", "nosniff");
    response_.set("Content-Security-Policy", response.policy);
    if (response.status == 401) {
      response_.set(http::field::www_authenticate, "Basic realm=\"kelvar serve\", charset=\"UTF-8\"");
    }
    for (const auto& [name, value] : state_->web->headers) {
      response_.set(name, value);
    }
    if (!response.allowed.empty()) {
      response_.set(http::field::allow, response.allowed);
    }
    response_.keep_alive(keepAlive_ && !state_->stopping);
    response_.content_length(response.body.size());
    response_.body() = isHead_ ? std::string() : std::move(response.body);
    Account(response_.body().size());
    stream_.expires_after(state_->limits.response);
    OnStream([this](auto& stream) {
      http::async_write(stream, response_,
                        [self = shared_from_this()](Error error, std::size_t) { self->Continue(error); });
    });
  }

  void Continue(const Error& error) {
    if (error) {
      return;
    }
    if (response_.keep_alive()) {
      response_ = {};
      Account(0);
      Begin(state_->limits.idle);
    } else if (tls_) {
      tls_->async_shutdown([self = shared_from_this()](Error) {});
    } else {
      Error ignored;
      stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
    }
  }

  /// Slow readers of large answers do not hold more memory than all together may.
  void Account(std::size_t bytes) {
    state_->pendingBytes += bytes - pendingBytes_;
    pendingBytes_ = bytes;
    while (state_->pendingBytes > state_->limits.pendingBytes &&
           state_->connections.CloseOldest(Connections::Phase::Response)) {
    }
  }

  beast::tcp_stream stream_;
  std::optional<asio::ssl::stream<beast::tcp_stream&>> tls_;
  std::shared_ptr<State> state_;
  beast::flat_buffer buffer_{kHeaderBytes + kPieceBytes};
  std::optional<http::request_parser<http::empty_body>> parser_;
  http::response<http::string_body> response_;
  Cancel cancel_;
  std::size_t pendingBytes_ = 0;
  bool isAnswered_ = false;
  bool keepAlive_ = false;
  bool isHead_ = false;  ///< its answer has no body
  bool idle_ = false;
};

void MetricsServer::State::Accept() {
  acceptor.async_accept([self = shared_from_this()](Error error, tcp::socket socket) {
    if (self->stopping) {
      return;
    }
    if (!error) {
      self->Begin(std::move(socket));
      return self->Accept();
    }
    self->connections.CloseOldest(Connections::Phase::Client);  // whose descriptor the next one can have
    self->pause.expires_after(kPauseWithoutDescriptors);
    self->pause.async_wait([self](Error) { self->stopping ? void() : self->Accept(); });
  });
}

void MetricsServer::State::Begin(tcp::socket socket) {
  Error error;
  const tcp::endpoint peer = socket.remote_endpoint(error);
  if (error) {  // gone already
    return;
  }
  const auto session = std::make_shared<Session>(std::move(socket), shared_from_this());
  connections.Enter(*session, peer.address());
  session->Start();
}

MetricsServer::MetricsServer(asio::io_context& context, const tcp::endpoint& endpoint, Handler handler,
                             PasswordChecks& checks, std::shared_ptr<const WebConfig> web, HttpLimits limits)
    : state_(std::make_shared<State>(context, std::move(handler), checks, std::move(web), limits)) {
  state_->Listen(endpoint);
}

MetricsServer::~MetricsServer() = default;

tcp::endpoint MetricsServer::Endpoint() const {
  return state_->acceptor.local_endpoint();
}

void MetricsServer::Use(std::shared_ptr<const WebConfig> web) {
  state_->web = std::move(web);
}

void MetricsServer::Stop() {
  state_->stopping = true;
  Error ignored;
  state_->acceptor.close(ignored);
  state_->pause.cancel();
  state_->connections.ForEach([](Connections::Entry& entry) {
    auto& session = static_cast<Session&>(entry);
    if (session.IsIdle()) {
      session.Close();
    }
  });
}

}  // namespace Kelvar::Tool::Serve
