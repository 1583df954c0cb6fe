#pragma once

#include <vector>

#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/RmcpPlusSession.h"
#include "transport/ipmi/UdpChannel.h"

namespace Kelvar::Ipmi {

/// Open Session and the four RAKP messages, for one cipher suite and privilege.
///
/// A target may start anew with each copy of a message that it gets: then what it holds and what we hold differ, and it
/// refuses a right password. So a refusal counts only in a round without copies; after any other the handshake starts
/// over, by then with waits that the target keeps.
class RmcpPlusHandshake {
 public:
  RmcpPlusHandshake(UdpChannel& channel, const ExchangeOptions& options, const Credentials& credentials,
                    const CipherSuite& suite, Privilege privilege);

  /// Whatever the end, a target that answers logins is told to forget what else it has opened for us on the way.
  SessionResult Run(std::unique_ptr<LanSession>& session);

 private:
  SessionResult RunOnce(std::unique_ptr<LanSession>& session);
  bool IsWorthAnotherRound(SessionResult result) const;
  SessionResult OpenSession();
  SessionResult ExchangeRandoms();
  SessionResult Confirm(std::unique_ptr<LanSession>& session);
  SessionResult Refusal(const char* step, u8 status) const;
  /// Exchanges one payload, whose first byte is the tag. `decode` gives nothing for what is not such a reply.
  template <typename T>
  ExchangeResult Ask(const ExchangeOptions& options, PayloadType type, Bytes request, PayloadType replyType,
                     std::optional<T> (*decode)(ByteView), T& reply);
  std::optional<ByteView> Payload(std::span<u8> datagram, PayloadType type);
  /// Notes what copies of earlier messages have led to.
  void NoteLateReply(ByteView datagram);
  /// A session at the target that is not, or not yet, the one of this round.
  void NoteOpened(const OpenSessionReply& reply);
  void CloseAttempt(u8 status);
  /// Refuses surplus sessions, but not where no login was answered: RAKP message 3 without a message 2 before it, as
  /// for an unknown user, makes some targets crash.
  void ReleaseSurplus(SessionResult result);
  void PostRefusal(u32 targetId, u8 status);

  UdpChannel& channel_;
  const ExchangeOptions options_;
  const Credentials& credentials_;
  const CipherSuite& suite_;
  const Privilege privilege_;
  RakpExchange exchange_;
  std::unique_ptr<RmcpPlusSession> session_;  ///< from RAKP message 3 on
  u8 tag_ = 0;
  bool clean_ = true;  ///< the target got each message of this round once, as far as is known
  int round_ = 0;
  int wrongCodes_ = 0;           ///< rounds in which the target's code in RAKP message 2 did not fit the password
  std::vector<u32> consoleIds_;  ///< of all rounds
  std::vector<u32>
      surplusIds_;              ///< sessions at the target that copies of Open Session, or unanswered logins, have left
  bool answersLogins_ = false;  ///< the target has sent a RAKP message 2
};

}  // namespace Kelvar::Ipmi
