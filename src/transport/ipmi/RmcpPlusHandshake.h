#pragma once

#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/RmcpPlusSession.h"
#include "transport/ipmi/UdpChannel.h"

namespace Kelvar::Ipmi {

/// Open Session and the four RAKP messages, for one cipher suite and privilege.
class RmcpPlusHandshake {
 public:
  RmcpPlusHandshake(UdpChannel& channel, const ExchangeOptions& options, const Credentials& credentials,
                    const CipherSuite& suite, Privilege privilege);

  /// Starts over, within the options' time, when a lost or doubled message may have led the target to another state
  /// than ours.
  SessionResult Run(std::unique_ptr<LanSession>& session);

 private:
  bool MayBeOutOfStep(SessionResult result) const;
  SessionResult RunOnce(std::unique_ptr<LanSession>& session);
  SessionResult OpenSession();
  SessionResult ExchangeRandoms();
  SessionResult Confirm(std::unique_ptr<LanSession>& session);
  SessionResult Refusal(const char* step, u8 status) const;
  /// Exchanges one payload. `decode` gives nothing for what is no such reply.
  template <typename T>
  ExchangeResult Ask(PayloadType type, ByteView request, PayloadType replyType, std::optional<T> (*decode)(ByteView),
                     T& reply);
  std::optional<ByteView> Payload(std::span<u8> datagram, PayloadType type);

  UdpChannel& channel_;
  const ExchangeOptions options_;
  const Credentials& credentials_;
  const CipherSuite& suite_;
  const Privilege privilege_;
  RakpExchange exchange_;
  std::unique_ptr<RmcpPlusSession> session_;  ///< from RAKP message 3 on
  u8 tag_ = 0;
};

}  // namespace Kelvar::Ipmi
