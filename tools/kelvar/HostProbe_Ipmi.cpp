#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tools/kelvar/HostProbe_Steps.h"

namespace Kelvar::Tool {

namespace {

// RMCP, a session header without authentication, and Get Channel Authentication Capabilities with its checksums.
constexpr std::array<u8, 23> kRequest{0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                      0x00, 0x09, 0x20, 0x18, 0xC8, 0x81, 0x04, 0x38, 0x8E, 0x04, 0xB1};

constexpr std::size_t kCompletionCodeAt = 20;
constexpr std::size_t kSupportAt = 22;    // bit 7: byte 24 is valid
constexpr std::size_t kExtensionAt = 24;  // bit 1: IPMI 2.0
constexpr std::size_t kShortestReply = 26;

constexpr int kTryMs = 500;

class Socket {
 public:
  explicit Socket(const addrinfo& address)
      : descriptor_(socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol)) {
    connected_ = descriptor_ >= 0 && connect(descriptor_, address.ai_addr, address.ai_addrlen) == 0;
  }
  ~Socket() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  bool Connected() const { return connected_; }
  int Number() const { return descriptor_; }

 private:
  int descriptor_;
  bool connected_ = false;
};

ProbeAnswer ReadReply(const u8* reply, std::size_t size) {
  const bool rmcp = size >= kShortestReply && reply[0] == 0x06 && reply[3] == 0x07;
  if (!rmcp) {
    return {ExitCode::BadData, "RMCP", "the response is not IPMI"};
  }
  if (reply[kCompletionCodeAt] != 0) {
    return {ExitCode::Complete, "RMCP", "IPMI"};
  }
  const bool second = (reply[kSupportAt] & 0x80) != 0 && (reply[kExtensionAt] & 0x02) != 0;
  return {ExitCode::Complete, "RMCP", second ? "IPMI 2.0" : "IPMI 1.5"};
}

ProbeAnswer Ask(const addrinfo& address, int timeoutSeconds) {
  const Socket channel(address);
  if (!channel.Connected()) {
    return {ExitCode::Unreachable, "port", std::strerror(errno)};
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  while (std::chrono::steady_clock::now() < end) {
    if (send(channel.Number(), kRequest.data(), kRequest.size(), 0) < 0) {
      return {ExitCode::Unreachable, "port", std::strerror(errno)};
    }
    pollfd readable{channel.Number(), POLLIN, 0};
    if (poll(&readable, 1, kTryMs) > 0) {
      std::array<u8, 256> reply{};
      const ssize_t size = recv(channel.Number(), reply.data(), reply.size(), 0);
      return size < 0 ? ProbeAnswer{ExitCode::Unreachable, "port", std::strerror(errno)}
                      : ReadReply(reply.data(), static_cast<std::size_t>(size));
    }
  }
  return {ExitCode::Unreachable, "RMCP", "no response within " + std::to_string(timeoutSeconds) + " s"};
}

}  // namespace

ProbeAnswer ProbeIpmi(const std::string& host, u16 port, int timeoutSeconds) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  const int failure = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (failure != 0) {
    return {ExitCode::Unreachable, "name", gai_strerror(failure)};
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, freeaddrinfo);
  return Ask(*addresses, timeoutSeconds);
}

}  // namespace Kelvar::Tool
