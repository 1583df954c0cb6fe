#pragma once

#include <memory>
#include <vector>

#include "transport/ipmi/CipherSuite.h"
#include "transport/ipmi/CommandExchange.h"
#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/SessionOpening.h"

namespace Kelvar::Ipmi {

/// What Get Channel Authentication Capabilities tells of a target.
struct AuthCapabilities {
  bool plus = false;  ///< RMCP+ sessions are offered
  u8 authTypes = 0;   ///< bit n: authentication type n in IPMI 1.5 sessions

  bool Offers(AuthType type) const { return ((authTypes >> static_cast<u8>(type)) & 1) != 0; }
};

/// Nothing when the reply's data are too short.
std::optional<AuthCapabilities> DecodeAuthCapabilities(ByteView data);

/// Finds out what the target behind a channel speaks, and opens the best session it grants.
class LanOpening {
 public:
  LanOpening(UdpChannel& channel, CommandExchange& exchange, const Login& login, std::size_t suiteNumber,
             const Patience& patience)
      : channel_(channel), exchange_(exchange), login_(login), suiteNumber_(suiteNumber), patience_(patience) {}

  Opening Run(std::unique_ptr<LanSession>& session);

 private:
  /// Nothing, but for the reason in `heard`, when the target does not answer.
  std::optional<AuthCapabilities> AskCapabilities(Heard& heard);
  Opening OpenPlus(std::unique_ptr<LanSession>& session);
  Opening Open15(const AuthCapabilities& capabilities, std::unique_ptr<LanSession>& session);
  /// Runs `handshake` for each privilege from the highest down until one is not refused.
  template <typename Handshake>
  Opening OpenWithPrivilege(std::unique_ptr<LanSession>& session, const Handshake& handshake);
  /// Whether the target, asked for its suites, answers without naming this one.
  bool DoesNotOffer(const CipherSuite& suite);
  /// Raises the new session to the privilege, or to the highest below it that the target grants.
  bool RaisePrivilege(LanSession& session, Privilege highest);

  UdpChannel& channel_;
  CommandExchange& exchange_;
  const Login& login_;
  const std::size_t suiteNumber_;
  const Patience patience_;
};

}  // namespace Kelvar::Ipmi
