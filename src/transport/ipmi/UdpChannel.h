#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "transport/ipmi/DatagramPort.h"
#include "transport/ipmi/RoundTrip.h"

namespace Kelvar::Ipmi {

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
  /// The target starts anew with each copy, so that only its reply to the last one holds: waits for that.
  bool lastReplyCounts = false;
  /// The reply is that of a controller after the target: its waits are IpmiTimings::bridgedWaitMs, and measure nothing.
  bool elsewhere = false;

  u32 Tries() const { return elsewhere ? timings.bridgedTries : timings.tries; }
};

/// Requests and replies over one port. Keeps the waits in step with the target; knows nothing of what the bytes mean.
class UdpChannel {
 public:
  /// Puts copy number `copy` of a request, counting from 0, into an empty packet.
  using MakeCopy = std::function<void(Bytes& packet, u32 copy)>;
  /// Takes a datagram, whose bytes it may change, as the reply to the copy that it names; nothing for any other.
  using TakeReply = std::function<std::optional<u32>(std::span<u8> datagram)>;

  explicit UdpChannel(std::unique_ptr<DatagramPort> port);
  UdpChannel(const UdpChannel&) = delete;
  UdpChannel& operator=(const UdpChannel&) = delete;
  ~UdpChannel();

  bool Open(const Endpoint& endpoint);
  void Close() noexcept;

  /// Sends a request, and again after growing waits, until there is a reply, until the target was silent for the limit,
  /// or until the deadline. Other datagrams do not prolong the waits.
  ExchangeResult Exchange(const ExchangeOptions& options, const MakeCopy& make, const TakeReply& take);
  /// Transmissions of the last exchange.
  u32 Transmissions() const { return static_cast<u32>(sentAt_.size()); }
  /// Whether, in the last exchange, each of them got a reply.
  bool AllAnswered() const { return answered_ >= sentAt_.size(); }
  /// Transmissions of all exchanges since the channel was made.
  u64 TotalTransmissions() const { return totalTransmissions_; }
  /// That the target got a request twice though it was sent once: from now on `lastReplyCounts` waits in any case.
  void NoteDoubledRequest() { pathDoubles_ = true; }

  /// Sends one of several requests that are under way.
  void Transmit(const std::function<void(Bytes& packet)>& make);
  /// Waits for a datagram that `take` accepts.
  bool Await(Clock::time_point until, const std::function<bool(std::span<u8>)>& take);
  /// How long the reply to what is sent first may take before it counts as lost.
  Clock::duration ReplyWait(const IpmiTimings& timings) const { return roundTrip_.WaitAfter(timings, 0); }
  /// A round trip that nothing else delayed.
  void NoteRoundTrip(Clock::duration sample) { roundTrip_.Add(sample); }

  /// Sends without waiting for an answer.
  void Post(ByteView packet) noexcept;

  Clock::time_point Now() const { return port_->Now(); }
  Clock::time_point After(u32 milliseconds) const { return Now() + Milliseconds(milliseconds); }
  /// Lets the time pass; what arrives meanwhile is dropped.
  void Pause(Clock::time_point until);
  /// The limit on silence begins anew.
  void RestartSilence() { lastReply_ = Now(); }

 private:
  /// Receives until `until`.
  ExchangeResult Listen(Clock::time_point until, const ExchangeOptions& options, const TakeReply& take);
  Clock::duration WaitAfter(const ExchangeOptions& options, u32 index) const;
  void NoteReply(u32 copy, const ExchangeOptions& options);
  void AwaitLastReply(const ExchangeOptions& options, const TakeReply& take);

  const std::unique_ptr<DatagramPort> port_;
  RoundTrip roundTrip_;
  bool pathDoubles_ = false;
  Clock::time_point lastReply_{};
  std::vector<Clock::time_point> sentAt_;
  u32 answered_ = 0;  ///< replies in the current exchange
  u64 totalTransmissions_ = 0;
  Bytes outgoing_;
  Bytes incoming_;
};

}  // namespace Kelvar::Ipmi
