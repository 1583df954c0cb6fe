#pragma once

#include <functional>
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

/// How an exchange of datagrams ended.
enum class ExchangeResult {
  Reply,
  Timeout,          ///< no reply to any transmission, or the time was over
  PortUnreachable,  ///< the host reports that the port is closed
};

/// What bounds one exchange.
struct ExchangeOptions {
  const IpmiTimings& timings;
  Clock::time_point deadline;
  bool stopWhenPortClosed = false;
};

/// Datagrams to and from one address; the kernel drops those of other senders.
class UdpChannel {
 public:
  UdpChannel() = default;
  UdpChannel(const UdpChannel&) = delete;
  UdpChannel& operator=(const UdpChannel&) = delete;
  ~UdpChannel() { Close(); }

  bool Open(const Endpoint& endpoint);
  void Close() noexcept;

  /// Sends what `make` puts into an empty packet, and again after growing waits, until `accept` takes one of the
  /// datagrams that come in. `accept` may change the bytes it is given. Other datagrams do not prolong the waits.
  ExchangeResult Exchange(const ExchangeOptions& options, const std::function<void(Bytes&)>& make,
                          const std::function<bool(std::span<u8>)>& accept);

  /// Sends without waiting for an answer.
  void Post(ByteView packet) noexcept;

 private:
  /// Receives until `until`.
  ExchangeResult Listen(Clock::time_point until, bool stopWhenPortClosed,
                        const std::function<bool(std::span<u8>)>& accept);
  bool WaitReadable(Clock::time_point until) const;

  int socket_ = -1;
  bool prompt_ = false;  ///< answers come soon
  Bytes outgoing_;
  Bytes incoming_;
};

}  // namespace Kelvar::Ipmi
