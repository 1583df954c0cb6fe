#pragma once

#include "transport/ipmi/IpmiClientInterface.h"
#include "transport/ipmi/IpmiMessage.h"
#include "transport/ipmi/LanSession.h"
#include "transport/ipmi/UdpChannel.h"

namespace Kelvar::Ipmi {

/// Commands and their replies over one channel, in whatever session. Numbers the requests, so that a reply counts for
/// the request it answers, however late, and for no other.
class CommandExchange {
 public:
  explicit CommandExchange(UdpChannel& channel) : channel_(channel) {}

  ExchangeResult Ask(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command, Reply& reply);
  ExchangeResult AskApplication(LanSession& session, const ExchangeOptions& options, u8 command, Bytes data,
                                Reply& reply) {
    return Ask(session, options, {command, std::move(data), kNetFnApplication}, reply);
  }

 private:
  UdpChannel& channel_;
  Bytes message_;
  u8 sequence_ = 0;
};

}  // namespace Kelvar::Ipmi
