#pragma once

#include <memory>

#include "transport/ipmi/CommandExchange.h"
#include "transport/ipmi/IpmiTransport.h"
#include "transport/ipmi/LanSession.h"

namespace Kelvar::Ipmi {

/// IPMI over LAN: keeps one session with one target.
class LanTransport : public IpmiTransport {
 public:
  LanTransport(std::string host, std::string user, const std::string& password, std::string port,
               std::size_t suiteNumber);
  ~LanTransport() override { Close(); }

  CONNECTIONSTATE Open(const IpmiTimings& timings) override;
  void Close() noexcept override;
  int Send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) override;

 private:
  SessionResult OpenAnyAddress(const ExchangeOptions& options);
  SessionResult OpenSession(const ExchangeOptions& options);
  /// One command in the session; where that may have been lost unnoticed, silence opens another one.
  ExchangeResult Ask(const IPMICOMMAND& command, Reply& reply);

  const std::string host_;
  const std::string port_;
  const Credentials credentials_;
  const std::size_t suiteNumber_;
  IpmiTimings timings_;
  UdpChannel channel_;
  CommandExchange exchange_{channel_};
  std::unique_ptr<LanSession> session_;
  bool opened_ = false;      ///< `Open` worked and `Close` was not called, whatever became of the session
  bool unanswered_ = false;  ///< the last command got no answer
  Clock::time_point lastHeard_{};
};

}  // namespace Kelvar::Ipmi
