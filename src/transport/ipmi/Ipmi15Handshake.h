#pragma once

#include "transport/ipmi/CommandExchange.h"
#include "transport/ipmi/LanSession.h"
#include "transport/ipmi/Rakp.h"

namespace Kelvar::Ipmi {

/// Get Session Challenge and Activate Session, for one authentication type and privilege.
class Ipmi15Handshake {
 public:
  Ipmi15Handshake(CommandExchange& exchange, const ExchangeOptions& options, const Credentials& credentials,
                  AuthType authType, Privilege privilege)
      : exchange_(exchange), options_(options), credentials_(credentials), authType_(authType), privilege_(privilege) {}

  SessionResult Run(std::unique_ptr<LanSession>& session);

 private:
  SessionResult RunOnce(std::unique_ptr<LanSession>& session);
  SessionResult AskChallenge();
  SessionResult Activate(std::unique_ptr<LanSession>& session);

  CommandExchange& exchange_;
  const ExchangeOptions options_;
  const Credentials& credentials_;
  const AuthType authType_;
  const Privilege privilege_;
  bool challenged_ = false;  ///< the target has answered with a challenge in this round
  u32 temporaryId_ = 0;
  Bytes challenge_;
};

}  // namespace Kelvar::Ipmi
