#pragma once

#include <memory>
#include <optional>

#include <kelvar/ConnectionOptions.h>

#include "transport/ipmi/CommandExchange.h"
#include "transport/ipmi/IpmiTransport.h"
#include "transport/ipmi/LanSession.h"

namespace Kelvar::Ipmi {

/// Where a target is, and what it is told of us.
struct LanTarget {
  std::string host;
  std::string user;
  std::string_view password;  ///< read by the constructor of LanTransport alone
  std::string port;
  std::size_t suiteNumber = 0;
};

/// IPMI over LAN: keeps one session with one target.
class LanTransport : public IpmiTransport {
 public:
  LanTransport(LanTarget target, const ConnectionOptions& options, std::unique_ptr<DatagramPort> port);
  ~LanTransport() override { Close(); }

  CONNECTIONSTATE Open(const IpmiTimings& timings) override;
  void Close() noexcept override;
  int Send(const ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
           u8& completionCode) override;
  void SendAhead(std::span<QueuedCommand> commands) override;
  bool RenewIfLost() override;
  bool IsLoggedOut() const noexcept override { return opened_ && loginRefused_; }
  u32 Transmissions() const override { return transmissions_; }

 private:
  /// Whether the protocol can carry the account, which is told if not.
  bool FitsTheProtocol() const;
  SessionResult OpenAnyAddress(const ExchangeOptions& options);
  SessionResult OpenSession(const ExchangeOptions& options);
  void RecordSetUp(SessionResult result, Clock::time_point start, u64 transmissions) const;
  const char* TextOf(SessionResult result) const;
  /// As long as the target answers that it is busy, after growing pauses again.
  ExchangeResult AskUntilReady(const IPMICOMMAND& command, Reply& reply, Clock::time_point end);
  /// One command in the session. Silence, where the target is not known for it, opens another session: the target may
  /// have forgotten this one.
  ExchangeResult Ask(const IPMICOMMAND& command, Reply& reply, Clock::time_point end);
  /// One command to a controller or logical unit whose silence tells nothing of the session.
  ExchangeResult AskElsewhere(const ControllerAddress& to, const IPMICOMMAND& command, Reply& reply, bool& handedOn,
                              Clock::time_point end);
  ExchangeResult AskInSession(const IPMICOMMAND& command, Reply& reply, const ExchangeOptions& options);

  const std::string host_;
  const std::string port_;
  const Credentials credentials_;
  const ConnectionOptions::IpmiSession kind_;
  const std::size_t suiteNumber_;
  const std::shared_ptr<LoginGuard> guard_;  ///< of the scope that it was made in; may be null
  IpmiTimings timings_;
  UdpChannel channel_;
  CommandExchange exchange_{channel_};
  std::unique_ptr<LanSession> session_;
  bool opened_ = false;        ///< `Open` worked and `Close` was not called, whatever became of the session
  bool loginRefused_ = false;  ///< and nobody has called `Open` since
  u32 transmissions_ = 0;
  u32 sessions_ = 0;      ///< opened so far
  bool inDoubt_ = false;  ///< the last command got no answer, and none tells whether the session is lost
  std::optional<RequestKey> neverAnswered_;  ///< a command that the target answers in no session
  Clock::time_point lastHeard_{};
};

}  // namespace Kelvar::Ipmi
