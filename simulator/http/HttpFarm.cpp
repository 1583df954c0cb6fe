#include "simulator/http/HttpFarm.h"

#include <deque>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "simulator/http/Certificate.h"
#include "simulator/http/FarmConnection.h"

namespace Kelvar::Simulator {

namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;
using TlsStream = asio::ssl::stream<tcp::socket>;

}  // namespace

class HttpFarm::Farm {
 public:
  explicit Farm(unsigned threads) : threadCount_(threads), context_(static_cast<int>(threads)) {
    const Certificate certificate = MakeCertificate();
    tls_.use_certificate(asio::buffer(certificate.certificate), asio::ssl::context::pem);
    tls_.use_private_key(asio::buffer(certificate.key), asio::ssl::context::pem);
    SSL_CTX_set_mode(tls_.native_handle(), SSL_MODE_RELEASE_BUFFERS);
  }

  ~Farm() {
    context_.stop();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

  tcp::acceptor Bind(unsigned short port) {
    Error error;
    tcp::acceptor acceptor(context_);
    acceptor.open(tcp::v4(), error);
    if (!error) {
      acceptor.set_option(tcp::acceptor::reuse_address(port != 0), error);
      acceptor.bind({asio::ip::address_v4::loopback(), port}, error);
    }
    if (error) {
      throw std::runtime_error("cannot listen on 127.0.0.1, port " + std::to_string(port) + ": " + error.message());
    }
    return acceptor;
  }

  unsigned short Add(unsigned short port, Site site) {
    Listener& listener = listeners_.emplace_back(std::move(site), Bind(port), context_);
    listener.acceptor.listen();
    return listener.acceptor.local_endpoint().port();
  }

  unsigned short AddClosed(unsigned short port) {
    closed_.push_back(Bind(port));
    return closed_.back().local_endpoint().port();
  }

  void Start() {
    for (Listener& listener : listeners_) {
      Accept(listener);
    }
    for (unsigned i = 0; i < threadCount_; ++i) {
      threads_.emplace_back([this] { context_.run(); });
    }
  }

 private:
  struct Listener {
    Listener(Site of, tcp::acceptor bound, asio::io_context& context)
        : site(std::move(of)), acceptor(std::move(bound)), pause(context) {}
    const Site site;
    tcp::acceptor acceptor;
    asio::steady_timer pause;
  };

  void Accept(Listener& listener) {
    listener.acceptor.async_accept([this, &listener](const Error& error, tcp::socket socket) {
      if (error) {
        AcceptLater(listener);
        return;
      }
      Serve(listener.site, std::move(socket));
      Accept(listener);
    });
  }

  /// When descriptors have run out, some connections must end first.
  void AcceptLater(Listener& listener) {
    constexpr std::chrono::milliseconds kWait{50};
    listener.pause.expires_after(kWait);
    listener.pause.async_wait([this, &listener](const Error& error) {
      if (!error) {
        Accept(listener);
      }
    });
  }

  void Serve(const Site& site, tcp::socket socket) {
    Error error;
    socket.set_option(tcp::no_delay(true), error);
    if (site.tls) {
      std::make_shared<FarmConnection<TlsStream>>(site, std::move(socket), tls_)->Begin();
    } else {
      std::make_shared<FarmConnection<tcp::socket>>(site, std::move(socket))->Begin();
    }
  }

  const unsigned threadCount_;
  asio::ssl::context tls_{asio::ssl::context::tls_server};
  asio::io_context context_;
  std::deque<Listener> listeners_;
  std::deque<tcp::acceptor> closed_;
  std::vector<std::thread> threads_;
};

HttpFarm::HttpFarm(unsigned threads) : farm_(std::make_unique<Farm>(threads)) {}

HttpFarm::~HttpFarm() = default;

unsigned short HttpFarm::Add(unsigned short port, Site site) {
  return farm_->Add(port, std::move(site));
}

unsigned short HttpFarm::AddClosed(unsigned short port) {
  return farm_->AddClosed(port);
}

void HttpFarm::Start() {
  farm_->Start();
}

}  // namespace Kelvar::Simulator
