#pragma once

#include "transport/ipmi/CommandExchange.h"
#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/SessionOpening.h"

namespace Kelvar::Ipmi {

/// Get Session Challenge and Activate Session, for one authentication type and privilege.
class Ipmi15Handshake {
 public:
  Ipmi15Handshake(CommandExchange& exchange, const Patience& patience, const Login& login, AuthType authType,
                  Privilege privilege)
      : exchange_(exchange), patience_(patience), login_(login), authType_(authType), privilege_(privilege) {}

  Opening Run(std::unique_ptr<LanSession>& session);

 private:
  Opening AskChallenge();
  Opening Activate(std::unique_ptr<LanSession>& session);
  /// What silence behind an answered challenge means: targets throw away what is signed with a wrong password.
  Opening SilenceAfterChallenge();

  CommandExchange& exchange_;
  const Patience patience_;
  const Login& login_;
  const AuthType authType_;
  const Privilege privilege_;
  u32 temporaryId_ = 0;
  Bytes challenge_;
};

}  // namespace Kelvar::Ipmi
