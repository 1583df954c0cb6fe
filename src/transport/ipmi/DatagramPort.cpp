#include "transport/ipmi/DatagramPort.h"

#include <cerrno>
#include <cstring>

#include <netdb.h>
#include <poll.h>
#include <unistd.h>

#include "common/log/LogMacros.h"
#include "common/process/Descriptors.h"

namespace Kelvar::Ipmi {
namespace {

class UdpPort final : public DatagramPort {
 public:
  UdpPort() = default;
  UdpPort(const UdpPort&) = delete;
  UdpPort& operator=(const UdpPort&) = delete;
  ~UdpPort() override { UdpPort::Close(); }

  bool Open(const Endpoint& endpoint) override {
    Close();
    socket_ = AboveStandardStreams(socket(endpoint.address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket_ < 0 || ::connect(socket_, reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.size) != 0) {
      KELVAR_LOG(2) << "IPMI: no socket to the target: " << std::strerror(errno);
      Close();
      return false;
    }
    return true;
  }

  void Close() noexcept override {
    if (socket_ >= 0) {
      close(socket_);
      socket_ = -1;
    }
  }

  void Send(ByteView packet) noexcept override {
    // An error that an earlier datagram met is reported by the next call, which then has not sent: once more.
    for (int attempt = 0; attempt < 2; ++attempt) {
      if (::send(socket_, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0) {
        return;
      }
    }
  }

  Event Receive(Clock::time_point until, std::span<u8> buffer, std::size_t& size) override {
    while (WaitReadable(until)) {
      const ssize_t received = recv(socket_, buffer.data(), buffer.size(), MSG_TRUNC);
      if (received < 0 && errno == ECONNREFUSED) {
        return Event::PortClosed;
      }
      if (received >= 0 && static_cast<std::size_t>(received) <= buffer.size()) {
        size = static_cast<std::size_t>(received);
        return Event::Datagram;
      }
    }
    return Event::Timeout;
  }

  Clock::time_point Now() const override { return Clock::now(); }

 private:
  bool WaitReadable(Clock::time_point until) const {
    for (int left = LeftUntil(until); left > 0; left = LeftUntil(until)) {
      pollfd entry{socket_, POLLIN, 0};
      const int ready = poll(&entry, 1, left);
      if (ready > 0) {
        return true;
      }
      if (ready < 0 && errno != EINTR) {
        return false;
      }
    }
    return false;
  }

  int socket_ = -1;
};

}  // namespace

std::vector<Endpoint> Resolve(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int failure = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
  if (failure != 0) {
    KELVAR_LOG(1) << "IPMI: cannot resolve " << host << " port " << port << ": " << gai_strerror(failure);
    return {};
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
  std::vector<Endpoint> endpoints;
  for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
    Endpoint& endpoint = endpoints.emplace_back();
    endpoint.size = entry->ai_addrlen;
    std::memcpy(&endpoint.address, entry->ai_addr, entry->ai_addrlen);
  }
  return endpoints;
}

std::unique_ptr<DatagramPort> MakeUdpPort() {
  return std::make_unique<UdpPort>();
}

}  // namespace Kelvar::Ipmi
