#include "transport/ipmi/UdpChannel.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <netdb.h>
#include <openssl/crypto.h>
#include <poll.h>
#include <unistd.h>

#include "common/log/LogMacros.h"
#include "common/process/Descriptors.h"

namespace Kelvar::Ipmi {
namespace {

/// Larger datagrams are no replies to anything this library asks.
constexpr std::size_t kLargestDatagram = 4096;

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

bool UdpChannel::Open(const Endpoint& endpoint) {
  Close();
  socket_ = AboveStandardStreams(socket(endpoint.address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (socket_ < 0 || ::connect(socket_, reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.size) != 0) {
    KELVAR_LOG(2) << "IPMI: no socket to the target: " << std::strerror(errno);
    Close();
    return false;
  }
  incoming_.resize(kLargestDatagram);
  prompt_ = false;
  return true;
}

void UdpChannel::Close() noexcept {
  OPENSSL_cleanse(outgoing_.data(), outgoing_.size());  // IPMI 1.5 can put the password itself into packets
  if (socket_ >= 0) {
    close(socket_);
    socket_ = -1;
  }
}

void UdpChannel::Post(ByteView packet) noexcept {
  // An error that an earlier datagram met is reported by the next call, which then has not sent: once more.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (::send(socket_, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0) {
      return;
    }
  }
}

ExchangeResult UdpChannel::Exchange(const ExchangeOptions& options, const std::function<void(Bytes&)>& make,
                                    const std::function<bool(std::span<u8>)>& accept) {
  for (u32 index = 0; index < options.timings.tries; ++index) {
    const auto now = Clock::now();
    if (now >= options.deadline) {
      break;
    }
    outgoing_.clear();
    make(outgoing_);
    Post(outgoing_);
    const auto until = std::min(now + WaitAfter(options.timings, index, prompt_), options.deadline);
    const ExchangeResult result = Listen(until, options.stopWhenPortClosed, accept);
    if (result == ExchangeResult::Reply &&
        index == 0) {  // of a later one it is not known which transmission it answers
      prompt_ = Clock::now() - now < WaitAfter(options.timings, 0) / 2;
    }
    if (result != ExchangeResult::Timeout) {
      return result;
    }
  }
  return ExchangeResult::Timeout;
}

ExchangeResult UdpChannel::Listen(Clock::time_point until, bool stopWhenPortClosed,
                                  const std::function<bool(std::span<u8>)>& accept) {
  while (WaitReadable(until)) {
    const ssize_t size = recv(socket_, incoming_.data(), incoming_.size(), MSG_TRUNC);
    if (size < 0 && errno == ECONNREFUSED && stopWhenPortClosed) {
      return ExchangeResult::PortUnreachable;
    }
    if (size < 0 || static_cast<std::size_t>(size) > incoming_.size()) {
      continue;
    }
    if (accept(std::span(incoming_).first(static_cast<std::size_t>(size)))) {
      return ExchangeResult::Reply;
    }
  }
  return ExchangeResult::Timeout;
}

bool UdpChannel::WaitReadable(Clock::time_point until) const {
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

}  // namespace Kelvar::Ipmi
