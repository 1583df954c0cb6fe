#pragma once

#include <memory>
#include <vector>

#include <kelvar/ConnectionOptions.h>

#include "transport/ipmi/CipherSuite.h"
#include "transport/ipmi/CommandExchange.h"
#include "transport/ipmi/Rakp.h"

namespace Kelvar::Ipmi {

/// What Get Channel Authentication Capabilities tells of a target. Nobody vouches for it: it may word an error, and
/// chooses nothing.
struct AuthCapabilities {
  bool plus = false;    ///< RMCP+ sessions are offered
  bool bmcKey = false;  ///< a BMC key (K_G) is set
  u8 authTypes = 0;     ///< bit n: authentication type n in IPMI 1.5 sessions

  bool Offers(AuthType type) const { return ((authTypes >> static_cast<u8>(type)) & 1) != 0; }
};

/// Nothing when the reply's data are too short.
std::optional<AuthCapabilities> DecodeAuthCapabilities(ByteView data);

/// Opens the session that was asked for with the target of a channel, at the highest privilege that it grants.
class SessionNegotiator {
 public:
  using SessionKind = ConnectionOptions::IpmiSession;

  SessionNegotiator(UdpChannel& channel, CommandExchange& exchange, const Credentials& credentials, SessionKind kind,
                    std::size_t suiteNumber, const ExchangeOptions& options)
      : channel_(channel),
        exchange_(exchange),
        credentials_(credentials),
        kind_(kind),
        suiteNumber_(suiteNumber),
        options_(options) {}

  SessionResult Run(std::unique_ptr<LanSession>& session);
  /// What the target says it has, once `Run` has asked for it.
  const AuthCapabilities& Capabilities() const { return capabilities_; }

 private:
  /// Fills the capabilities; false, with the reason in `result`, when the target does not answer.
  bool AskCapabilities(ExchangeResult& result);
  SessionResult OpenPlus(std::unique_ptr<LanSession>& session);
  SessionResult Open15(AuthType type, std::unique_ptr<LanSession>& session);
  /// Runs `handshake` for each privilege from the highest down until one is not refused.
  template <typename Handshake>
  SessionResult OpenWithPrivilege(std::unique_ptr<LanSession>& session, const Handshake& handshake);
  /// Whether the target, asked for its suites, answers without naming this one.
  bool DoesNotOffer(const CipherSuite& suite);
  /// Raises the new session to the privilege, or to the highest below it that the target grants.
  bool RaisePrivilege(LanSession& session, Privilege highest);

  UdpChannel& channel_;
  CommandExchange& exchange_;
  const Credentials& credentials_;
  const SessionKind kind_;
  const std::size_t suiteNumber_;
  const ExchangeOptions options_;
  AuthCapabilities capabilities_;
};

}  // namespace Kelvar::Ipmi
