#include "simulator/http/HttpServer.h"

#include <atomic>
#include <condition_variable>
#include <list>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>

#include "simulator/http/Certificate.h"
#include "simulator/http/RequestParser.h"
#include "simulator/http/ResponseWriter.h"

namespace Kelvar::Simulator {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using Error = boost::system::error_code;

/// Tells every thread of a server to end.
class StopSign {
 public:
  /// True when stopped before the time is over.
  bool WaitFor(std::chrono::milliseconds duration) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, duration, [this] { return stopped_; });
  }
  void Stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
};

template <class Stream>
class StreamSink : public ByteSink {
 public:
  StreamSink(Stream& stream, StopSign& stop) : stream_(stream), stop_(stop) {}

  bool Write(std::string_view bytes) override {
    Error error;
    asio::write(stream_, asio::buffer(bytes), error);
    return !error;
  }
  bool Wait(std::chrono::milliseconds duration) override { return !stop_.WaitFor(duration); }

 private:
  Stream& stream_;
  StopSign& stop_;
};

/// Reads until the peer leaves or the server stops.
template <class Stream>
void Hang(Stream& stream) {
  std::array<char, 4096> ignored;
  Error error;
  while (!error) {
    stream.read_some(asio::buffer(ignored), error);
  }
}

}  // namespace

class HttpServer::Server {
 public:
  Server(Options options, Handler handler) : options_(std::move(options)), handler_(std::move(handler)) {
    if (options_.tls) {
      certificate_ = MakeCertificate();
      tls_.use_certificate(asio::buffer(certificate_.certificate), asio::ssl::context::pem);
      tls_.use_private_key(asio::buffer(certificate_.key), asio::ssl::context::pem);
    }
  }

  ~Server() { Stop(); }

  unsigned short Start(unsigned short port);
  void Stop();
  Counts Counted() const { return {connections_, requests_}; }
  const std::string& CertificatePem() const { return certificate_.certificate; }

 private:
  struct Connection {
    explicit Connection(asio::io_context& context) : socket(context) {}
    tcp::socket socket;
    std::thread thread;
    bool done = false;
  };

  bool Listen(const tcp::endpoint& endpoint);
  void AcceptConnections();
  void Accept(tcp::acceptor& acceptor);
  void RemoveFinished();
  void Serve(Connection& connection);
  Fault::End Talk(tcp::socket& socket);
  Fault::End TalkTls(tcp::socket& socket);
  template <class Stream>
  Fault::End Converse(Stream& stream);
  template <class Stream>
  Fault::End StrikeAt(std::string_view stage, Stream& stream);

  const Options options_;
  const Handler handler_;
  Certificate certificate_;
  asio::io_context context_;
  asio::ssl::context tls_{asio::ssl::context::tls_server};
  StopSign stop_;
  std::atomic<std::size_t> connections_{0};
  std::atomic<std::size_t> requests_{0};

  int wakeUp_ = -1;
  std::list<tcp::acceptor> acceptors_;
  std::thread acceptThread_;
  std::mutex mutex_;
  std::list<Connection> open_;
};

bool HttpServer::Server::Listen(const tcp::endpoint& endpoint) {
  Error error;
  tcp::acceptor acceptor(context_);
  acceptor.open(endpoint.protocol(), error);
  if (!error && endpoint.protocol() == tcp::v6()) {
    acceptor.set_option(asio::ip::v6_only(true), error);
  }
  acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  acceptor.bind(endpoint, error);
  if (!error) {
    acceptor.listen(asio::socket_base::max_listen_connections, error);
  }
  if (error) {
    return false;
  }
  acceptor.non_blocking(true);
  acceptors_.push_back(std::move(acceptor));
  return true;
}

unsigned short HttpServer::Server::Start(unsigned short port) {
  if (!Listen({asio::ip::address_v4::loopback(), port})) {
    throw std::runtime_error("cannot listen on 127.0.0.1, port " + std::to_string(port));
  }
  const unsigned short bound = acceptors_.front().local_endpoint().port();
  Listen({asio::ip::address_v6::loopback(), bound});
  wakeUp_ = eventfd(0, EFD_CLOEXEC);
  if (wakeUp_ < 0) {
    throw std::runtime_error("cannot make an eventfd");
  }
  acceptThread_ = std::thread([this] { AcceptConnections(); });
  return bound;
}

void HttpServer::Server::Stop() {
  stop_.Stop();
  if (acceptThread_.joinable()) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeUp_, &one, sizeof one);
    acceptThread_.join();
  }
  if (wakeUp_ >= 0) {
    ::close(wakeUp_);
  }
  {
    const std::lock_guard lock(mutex_);
    for (Connection& connection : open_) {
      if (!connection.done) {
        ::shutdown(connection.socket.native_handle(), SHUT_RDWR);
      }
    }
  }
  for (Connection& connection : open_) {
    connection.thread.join();
  }
  open_.clear();
}

void HttpServer::Server::AcceptConnections() {
  for (;;) {
    std::vector<pollfd> waited{{wakeUp_, POLLIN, 0}};
    for (tcp::acceptor& acceptor : acceptors_) {
      waited.push_back({acceptor.native_handle(), POLLIN, 0});
    }
    if (::poll(waited.data(), waited.size(), -1) < 0 && errno != EINTR) {
      return;
    }
    if (waited.front().revents != 0) {
      return;
    }
    for (tcp::acceptor& acceptor : acceptors_) {
      Accept(acceptor);
    }
    RemoveFinished();
  }
}

void HttpServer::Server::Accept(tcp::acceptor& acceptor) {
  Error error;
  tcp::socket socket = acceptor.accept(context_, error);
  if (error) {
    return;
  }
  socket.non_blocking(false, error);
  socket.set_option(tcp::no_delay(true), error);
  ++connections_;
  const std::lock_guard lock(mutex_);
  Connection& connection = open_.emplace_back(context_);
  connection.socket = std::move(socket);
  connection.thread = std::thread([this, &connection] { Serve(connection); });
}

void HttpServer::Server::RemoveFinished() {
  std::list<Connection> finished;
  {
    const std::lock_guard lock(mutex_);
    for (auto connection = open_.begin(); connection != open_.end();) {
      const auto next = std::next(connection);
      if (connection->done) {
        finished.splice(finished.end(), open_, connection);
      }
      connection = next;
    }
  }
  for (Connection& connection : finished) {
    connection.thread.join();
  }
}

void HttpServer::Server::Serve(Connection& connection) {
  Fault::End end = Fault::End::Close;
  try {
    end = options_.tls ? TalkTls(connection.socket) : Talk(connection.socket);
  } catch (const std::exception&) {
    end = Fault::End::Reset;
  }
  // Closed under the lock: Stop() shuts down the descriptors of open connections alone.
  const std::lock_guard lock(mutex_);
  Error error;
  if (end == Fault::End::Reset) {
    connection.socket.set_option(asio::socket_base::linger(true, 0), error);
  }
  connection.socket.close(error);
  connection.done = true;
}

Fault::End HttpServer::Server::Talk(tcp::socket& socket) {
  const Fault::End end = StrikeAt("@accept", socket);
  return end == Fault::End::Keep ? Converse(socket) : end;
}

Fault::End HttpServer::Server::TalkTls(tcp::socket& socket) {
  Fault::End end = StrikeAt("@accept", socket);
  if (end != Fault::End::Keep) {
    return end;
  }
  asio::ssl::stream<tcp::socket&> stream(socket, tls_);
  Error error;
  stream.handshake(asio::ssl::stream_base::server, error);
  if (error) {
    return Fault::End::Close;
  }
  end = StrikeAt("@tls", stream);
  if (end == Fault::End::Keep) {
    end = Converse(stream);
  }
  if (end == Fault::End::Close) {
    // Says goodbye, and does not wait for the answer.
    ::shutdown(socket.native_handle(), SHUT_RD);
    stream.shutdown(error);
  }
  return end;
}

template <class Stream>
Fault::End HttpServer::Server::StrikeAt(std::string_view stage, Stream& stream) {
  const auto fault = options_.connectionFault ? options_.connectionFault(stage) : std::nullopt;
  if (!fault) {
    return Fault::End::Keep;
  }
  StreamSink<Stream> sink(stream, stop_);
  const Fault::End end = ApplyConnectionFault(*fault, sink);
  if (end == Fault::End::Hang) {
    Hang(stream);
  }
  return end;
}

template <class Stream>
Fault::End HttpServer::Server::Converse(Stream& stream) {
  StreamSink<Stream> sink(stream, stop_);
  boost::beast::flat_buffer buffer;
  Fault::End end = Fault::End::Keep;
  while (end == Fault::End::Keep) {
    RequestParser parser;
    SetLimits(parser);
    Error error;
    http::read_header(stream, buffer, parser, error);
    if (!error && parser.get()[http::field::expect] == "100-continue") {
      sink.Write("HTTP/1.1 100 Continue\r\n\r\n");
    }
    if (!error) {
      http::read(stream, buffer, parser, error);
    }
    if (auto refusal = RefuseUnreadable(error)) {
      return WriteResponse(LastRequest(), std::move(*refusal), sink);
    }
    if (error) {
      return Fault::End::Close;
    }
    ++requests_;
    const HttpRequest request = TakeRequest(parser);
    HttpResponse response = AnswerSafely(handler_, request);
    if (!sink.Wait(options_.latency)) {
      return Fault::End::Close;
    }
    end = WriteResponse(request, std::move(response), sink);
  }
  if (end == Fault::End::Hang) {
    Hang(stream);
  }
  return end;
}

HttpServer::HttpServer(Options options, Handler handler)
    : server_(std::make_unique<Server>(std::move(options), std::move(handler))) {}

HttpServer::~HttpServer() = default;

unsigned short HttpServer::Start(unsigned short port) {
  return server_->Start(port);
}

HttpServer::Counts HttpServer::Counted() const {
  return server_->Counted();
}

const std::string& HttpServer::CertificatePem() const {
  return server_->CertificatePem();
}

}  // namespace Kelvar::Simulator
