#pragma once

#include <memory>

#include "common/ipmi/CipherSuite.h"
#include "common/ipmi/IpmiMessage.h"
#include "common/ipmi/IpmiTransport.h"
#include "common/ipmi/Rakp.h"
#include "common/ipmi/SessionOpening.h"

namespace Kelvar::Ipmi {

/// IPMI over LAN: finds out what the target speaks, opens a session and keeps it.
class LanTransport : public IpmiTransport {
 public:
  LanTransport(std::string host, std::string user, const std::string& password, std::string port,
               std::size_t suiteNumber);
  ~LanTransport() override { Close(); }

  CONNECTIONSTATE Open(const IpmiTimings& timings) override;
  void Close() noexcept override;
  int Send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) override;

 private:
  Opening OpenAnyAddress(Clock::time_point deadline);
  Opening OpenHere(const Patience& patience);
  Opening OpenPlus(const Patience& patience);
  Opening OpenPlus(const Patience& patience, const CipherSuite& suite);
  /// Suites to try, best first, without those that the target says it lacks.
  std::vector<const CipherSuite*> Suites(const Patience& patience);
  /// Raises the new session to the privilege, or to the highest below it that the target grants.
  bool RaisePrivilege(const Patience& patience, Privilege highest);
  Heard Command(LanSession& session, const Patience& patience, const IPMICOMMAND& command, Reply& reply);

  const std::string host_;
  const std::string port_;
  const Login login_;
  const std::size_t suiteNumber_;
  IpmiTimings timings_;
  UdpChannel channel_;
  std::unique_ptr<LanSession> session_;
  bool opened_ = false;      ///< `Open` worked and `Close` was not called: a lost session may be opened again
  bool unanswered_ = false;  ///< the last command got no answer
  Clock::time_point lastHeard_{};
  u8 sequence_ = 0;
};

}  // namespace Kelvar::Ipmi
