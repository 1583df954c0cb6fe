#pragma once

#include <vector>

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
  void BeginSession() { reservations_ = Reservations(); }
  ExchangeResult Ask(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command, Reply& reply);
  ExchangeResult AskApplication(LanSession& session, const ExchangeOptions& options, u8 command, Bytes data,
                                Reply& reply) {
    return Ask(session, options, {command, std::move(data), kNetFnApplication}, reply);
  }
  /// Sends a command without waiting for its reply.
  void Post(LanSession& session, const IPMICOMMAND& command);

 private:
  ExchangeResult AskOnce(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command, Reply& reply);
  void MakePacket(LanSession& session, const IPMICOMMAND& command, Bytes& packet);

  UdpChannel& channel_;
  Reservations reservations_;
  std::vector<u8> copies_;  ///< sequence numbers of the current request's copies
  Bytes message_;
  u8 sequence_ = 0;
};

}  // namespace Kelvar::Ipmi
