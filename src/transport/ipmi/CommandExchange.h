#pragma once

#include <map>
#include <vector>

#include "transport/ipmi/CommandWindow.h"
#include "transport/ipmi/IpmiClientInterface.h"
#include "transport/ipmi/IpmiMessage.h"
#include "transport/ipmi/LanSession.h"
#include "transport/ipmi/Reservations.h"
#include "transport/ipmi/UdpChannel.h"

namespace Kelvar::Ipmi {

/// Commands and their replies over one channel, in whatever session. Numbers the copies of a request, so that a reply
/// counts for the copy it answers, however late, and for no other request.
class CommandExchange {
 public:
  explicit CommandExchange(UdpChannel& channel) : channel_(channel) {}

  /// What was known of the session before is over.
  void BeginSession() { reservations_.clear(); }
  ExchangeResult Ask(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command, Reply& reply) {
    bool handedOn = true;
    return Ask(session, options, {}, command, reply, handedOn);
  }
  /// To any controller. `handedOn` becomes false when the target did not pass the command on; `reply` tells why.
  ExchangeResult Ask(LanSession& session, const ExchangeOptions& options, const ControllerAddress& to,
                     const IPMICOMMAND& command, Reply& reply, bool& handedOn);
  ExchangeResult AskApplication(LanSession& session, const ExchangeOptions& options, u8 command, Bytes data,
                                Reply& reply) {
    return Ask(session, options, {command, std::move(data), kNetFnApplication}, reply);
  }
  /// Several commands, as many under way as `window` allows; ends early when the window falls.
  void AskAhead(LanSession& session, const ExchangeOptions& options, std::span<QueuedCommand> commands,
                CommandWindow& window);
  /// Sends a command without waiting for its reply.
  void Post(LanSession& session, const IPMICOMMAND& command);

 private:
  ExchangeResult AskOnce(LanSession& session, const ExchangeOptions& options, const ControllerAddress& to,
                         const IPMICOMMAND& command, Reply& reply, bool& handedOn);
  /// The copy that a message answers; nothing for the messages of others.
  std::optional<u32> TakeDirect(LanSession& session, ByteView message, const ControllerAddress& to,
                                const IPMICOMMAND& command, Reply& reply);
  std::optional<u32> TakeBridged(LanSession& session, ByteView message, const ControllerAddress& to,
                                 const IPMICOMMAND& command, Reply& reply, bool& handedOn);
  std::optional<u32> CopyOf(u8 sequence) const;
  void MakePacket(LanSession& session, const ControllerAddress& to, const IPMICOMMAND& command, Bytes& packet);

  UdpChannel& channel_;
  friend class CommandPipeline;

  std::map<ControllerAddress, Reservations> reservations_;
  std::vector<u8> copies_;  ///< sequence numbers of the current request's copies
  Bytes message_;
  u8 sequence_ = 0;
};

}  // namespace Kelvar::Ipmi
