#pragma once

#include <memory>
#include <string>
#include <vector>

#include <sys/socket.h>

#include "transport/ipmi/IpmiTimings.h"
#include "transport/ipmi/WireBytes.h"

namespace Kelvar::Ipmi {

struct Endpoint {
  sockaddr_storage address{};
  socklen_t size = 0;
};

/// Addresses of a host name or of an IPv4 or IPv6 address, in the resolver's order; none on failure, which is logged.
/// Asking a name server takes as long as the system's resolver is configured to.
std::vector<Endpoint> Resolve(const std::string& host, const std::string& port);

/// Datagrams to and from one address, and the clock that all waits for them follow.
class DatagramPort {
 public:
  enum class Event {
    Datagram,
    Timeout,
    PortClosed,  ///< the host reports that the port is closed
  };

  virtual ~DatagramPort() = default;
  virtual bool Open(const Endpoint& endpoint) = 0;
  virtual void Close() noexcept = 0;
  virtual void Send(ByteView packet) noexcept = 0;
  /// Waits for the next datagram, at most until `until`. A datagram longer than `buffer` counts as none.
  virtual Event Receive(Clock::time_point until, std::span<u8> buffer, std::size_t& size) = 0;
  virtual Clock::time_point Now() const = 0;
};

/// A UDP socket and the steady clock; the kernel drops datagrams of other senders.
std::unique_ptr<DatagramPort> MakeUdpPort();

}  // namespace Kelvar::Ipmi
