#include "transport/ipmi/LanTransport.h"

#include <algorithm>
#include <utility>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/LoginGuard.h"
#include "common/log/LogMacros.h"
#include "transport/ipmi/IpmiCommands.h"
#include "transport/ipmi/IpmiDiagnostics.h"
#include "transport/ipmi/SessionNegotiator.h"

namespace Kelvar::Ipmi {
namespace {

constexpr std::size_t kLongestName = 16;
constexpr std::size_t kLongestBmcKey = 20;
/// The message of an IPMI 1.5 packet has at most 255 bytes, seven of them around the data.
constexpr std::size_t kMostData = 248;
constexpr std::size_t kAroundBridged = 8;  // the channel, and a message of its own
constexpr u32 kLongestBusyPauseMs = 1600;

FailureCause CauseOf(SessionResult result) {
  switch (result) {
    case SessionResult::Opened:
      return FailureCause::None;
    case SessionResult::LoginRefused:
    case SessionResult::BmcKeyRefused:
    case SessionResult::PrivilegeRefused:
      return FailureCause::LoginRefused;
    case SessionResult::SuiteRefused:
    case SessionResult::NotOffered:
      return FailureCause::NotOffered;
    case SessionResult::NoSessionLeft:
    case SessionResult::PortUnreachable:
      return FailureCause::Refused;
    case SessionResult::UnknownHost:
    case SessionResult::Timeout:
    case SessionResult::SuiteUnanswered:
    case SessionResult::LoginUnanswered:
      return FailureCause::Unreachable;
    case SessionResult::Failed:
      break;
  }
  return FailureCause::BadData;
}

bool IsLoginRefused(SessionResult result) {
  return result == SessionResult::LoginRefused || result == SessionResult::BmcKeyRefused;
}

Bytes CloseData(const LanSession& session) {
  Bytes id;
  AppendU32(id, session.TargetId());
  return id;
}

std::string PlaceText(const ControllerAddress& to) {
  return to.IsBridged() ? ", controller " + std::to_string(to.address)
         : to.lun != 0  ? ", logical unit " + std::to_string(to.lun)
                        : std::string();
}

/// Storage that is read slowly, such as the EEPROM of a FRU, may be busy for a while.
bool IsBusy(const IPMICOMMAND& command, const Reply& reply) {
  return IsBusyFru(command, reply.completionCode) ||
         (command.netFn == kNetFnStorage && reply.completionCode == kCodeNodeBusy);
}

}  // namespace

LanTransport::LanTransport(LanTarget target, const ConnectionOptions& options, std::unique_ptr<DatagramPort> port)
    : host_(std::move(target.host)),
      port_(std::move(target.port)),
      credentials_(std::move(target.user), target.password, options.ipmi_kg_key),
      kind_(options.ipmi_session),
      suiteNumber_(target.suiteNumber),
      guard_(KeptConnectionOptions::CurrentGuard()),
      channel_(std::move(port)) {}

CONNECTIONSTATE LanTransport::Open(const IpmiTimings& timings) {
  Close();
  timings_ = timings;
  loginRefused_ = false;
  neverAnswered_.reset();
  if (!FitsTheProtocol()) {
    return IPMIAUTHFAIL;
  }
  if (guard_ && guard_->IsRefused()) {
    Ipmi::RecordSetUp({FailureCause::LoginRefused, "an earlier login was refused; not tried again", 0, 0});
    return IPMIAUTHFAIL;
  }
  const auto start = channel_.Now();
  const u64 before = channel_.TotalTransmissions();
  const auto end = std::min(OperationDeadline::End(start), channel_.After(timings_.setUpLimitMs));
  const SessionResult result = OpenAnyAddress({timings_, end});
  RecordSetUp(result, start, before);
  opened_ = result == SessionResult::Opened;
  if (opened_) {
    return IPMICONNECTED;
  }
  KELVAR_LOG(1) << "IPMI: no session with " << host_ << " port " << port_ << ": " << TextOf(result);
  channel_.Close();
  return IsLoginRefused(result) ? IPMIAUTHFAIL : IPMICONNECTFAIL;
}

bool LanTransport::FitsTheProtocol() const {
  if (credentials_.user.size() > kLongestName) {
    KELVAR_LOG(1) << "IPMI: user names have at most " << kLongestName << " characters";
    Ipmi::RecordSetUp({FailureCause::LoginRefused, "the user name has more than 16 characters", 0, 0});
    return false;
  }
  if (credentials_.bmcKey.View().size() > kLongestBmcKey) {
    KELVAR_LOG(1) << "IPMI: BMC keys (K_G) have at most " << kLongestBmcKey << " bytes";
    Ipmi::RecordSetUp({FailureCause::LoginRefused, "the BMC key (K_G) has more than 20 bytes", 0, 0});
    return false;
  }
  return true;
}

SessionResult LanTransport::OpenAnyAddress(const ExchangeOptions& options) {
  SessionResult result = SessionResult::UnknownHost;
  for (const Endpoint& endpoint : Resolve(host_, port_)) {
    result = channel_.Open(endpoint) ? OpenSession(options) : SessionResult::Timeout;
    if (result != SessionResult::Timeout && result != SessionResult::PortUnreachable) {
      break;
    }
    KELVAR_LOG(2) << "IPMI: one address of " << host_ << ": " << TextOf(result);
  }
  return result;
}

SessionResult LanTransport::OpenSession(const ExchangeOptions& options) {
  session_.reset();
  exchange_.BeginSession();
  const SessionResult result =
      SessionNegotiator(channel_, exchange_, credentials_, kind_, suiteNumber_, options).Run(session_);
  if (result == SessionResult::Opened) {
    ++sessions_;
  } else {
    session_.reset();
  }
  loginRefused_ = IsLoginRefused(result);
  if (loginRefused_ && guard_) {
    guard_->NoteRefused();
  }
  lastHeard_ = channel_.Now();
  return result;
}

void LanTransport::RecordSetUp(SessionResult result, Clock::time_point start, u64 transmissions) const {
  const std::chrono::duration<double> taken = channel_.Now() - start;
  Ipmi::RecordSetUp({CauseOf(result), TextOf(result), static_cast<u32>(channel_.TotalTransmissions() - transmissions),
                     taken.count()});
}

const char* LanTransport::TextOf(SessionResult result) const {
  switch (result) {
    case SessionResult::Opened:
      return "session open";
    case SessionResult::LoginRefused:
      return "user or password refused";
    case SessionResult::BmcKeyRefused:
      return credentials_.bmcKey.Empty() ? "the target has a BMC key (K_G), which must be given too"
                                         : "the BMC key (K_G) is not that of the target";
    case SessionResult::SuiteRefused:
      return "cipher suite refused";
    case SessionResult::PrivilegeRefused:
      return "no privilege granted";
    case SessionResult::NoSessionLeft:
      return "no session left on the target";
    case SessionResult::NotOffered:
      return kind_ == ConnectionOptions::IpmiSession::RmcpPlus
                 ? "the target offers no IPMI 2.0 session (RMCP+); an IPMI 1.5 session has to be asked for"
                 : "the target does not offer this IPMI 1.5 session";
    case SessionResult::UnknownHost:
      return "unknown host";
    case SessionResult::Timeout:
    case SessionResult::SuiteUnanswered:
      return "no answer";
    case SessionResult::LoginUnanswered:
      return "no answer to the login; the user may be unknown";
    case SessionResult::PortUnreachable:
      return "port closed";
    case SessionResult::Failed:
      break;
  }
  return "set-up failed";
}

int LanTransport::Send(const ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
                       u8& completionCode) {
  transmissions_ = 0;
  inDoubt_ = false;
  if (!opened_) {
    return kSendNotConnected;
  }
  if (command.data.size() > (to.IsBridged() ? kMostData - kAroundBridged : kMostData) || command.netFn > 0x3F ||
      (command.netFn & 1) != 0) {
    KELVAR_LOG(1) << "IPMI: no request can carry network function " << int{command.netFn} << " with "
                  << command.data.size() << " bytes";
    return kSendNotPossible;
  }
  const auto end = OperationDeadline::End(channel_.Now());
  if (channel_.Now() >= end) {
    OperationDeadline::NoteReached();
    return kSendNoTime;
  }
  Reply reply;
  bool handedOn = true;
  const ExchangeResult result =
      to.IsPlain() ? AskUntilReady(command, reply, end) : AskElsewhere(to, command, reply, handedOn, end);
  if (result != ExchangeResult::Reply) {
    KELVAR_LOG(to.IsPlain() ? 1 : 2) << "IPMI: no answer from " << host_ << PlaceText(to) << " to command "
                                     << int{command.command} << " of network function " << int{command.netFn};
    return kSendNoAnswer;
  }
  lastHeard_ = channel_.Now();
  completionCode = reply.completionCode;
  if (!handedOn) {
    return kSendNotHandedOn;
  }
  response = std::move(reply.data);
  return 0;
}

bool LanTransport::RenewIfLost() {
  const u32 before = sessions_;
  Reply reply;
  return std::exchange(inDoubt_, false) && session_ &&
         Ask({kGetDeviceId, {}, kNetFnApplication}, reply, OperationDeadline::End(channel_.Now())) ==
             ExchangeResult::Reply &&
         sessions_ != before;
}

void LanTransport::SendAhead(std::span<QueuedCommand> commands) {
  const std::string target = host_ + ":" + port_;
  CommandWindow window = CommandWindow::Of(target);
  const auto fits = [](const QueuedCommand& queued) {
    const IPMICOMMAND& command = queued.command;
    return command.data.size() <= kMostData && command.netFn <= 0x3F && (command.netFn & 1) == 0;
  };
  const bool idle = channel_.Now() - lastHeard_ >= Milliseconds(timings_.idleExpiryMs);
  if (!session_ || idle || !window.IsOpen() || !std::all_of(commands.begin(), commands.end(), fits)) {
    return;
  }
  channel_.RestartSilence();
  exchange_.AskAhead(*session_, {timings_, OperationDeadline::End(channel_.Now())}, commands, window);
  CommandWindow::Remember(target, window);
  if (std::any_of(commands.begin(), commands.end(), [](const QueuedCommand& queued) { return queued.answered; })) {
    lastHeard_ = channel_.Now();
  }
}

ExchangeResult LanTransport::AskElsewhere(const ControllerAddress& to, const IPMICOMMAND& command, Reply& reply,
                                          bool& handedOn, Clock::time_point end) {
  if (!session_) {
    return ExchangeResult::Timeout;
  }
  ExchangeOptions options{timings_, end};
  options.elsewhere = true;
  channel_.RestartSilence();
  const u64 before = channel_.TotalTransmissions();
  const ExchangeResult result = exchange_.Ask(*session_, options, to, command, reply, handedOn);
  inDoubt_ = result != ExchangeResult::Reply;
  transmissions_ += static_cast<u32>(channel_.TotalTransmissions() - before);
  return result;
}

ExchangeResult LanTransport::AskUntilReady(const IPMICOMMAND& command, Reply& reply, Clock::time_point end) {
  u32 pauseMs = timings_.busyPauseMs;
  for (u32 tries = 1;; ++tries) {
    const ExchangeResult result = Ask(command, reply, end);
    const auto resume = channel_.After(pauseMs);
    if (result != ExchangeResult::Reply || !IsBusy(command, reply) || tries >= timings_.busyTries || resume >= end) {
      return result;
    }
    channel_.Pause(resume);
    pauseMs = std::min(2 * pauseMs, kLongestBusyPauseMs);
  }
}

ExchangeResult LanTransport::Ask(const IPMICOMMAND& command, Reply& reply, Clock::time_point end) {
  const RequestKey key{command.netFn, command.command, 0};
  const ExchangeOptions options{timings_, end};
  const bool neverAnswered =
      neverAnswered_ && neverAnswered_->netFn == key.netFn && neverAnswered_->command == key.command;
  channel_.RestartSilence();
  if (session_) {
    IpmiTimings shortly = timings_;
    const bool idle = channel_.Now() - lastHeard_ >= Milliseconds(timings_.idleExpiryMs);
    shortly.tries = idle ? std::min(timings_.tries, 2U) : timings_.tries;
    const ExchangeResult result = AskInSession(command, reply, {shortly, end});
    if (result == ExchangeResult::Reply || neverAnswered) {
      inDoubt_ = result != ExchangeResult::Reply;
      return result;
    }
    exchange_.Post(*session_, {kCloseSession, CloseData(*session_), kNetFnApplication});
  }
  if (loginRefused_ || (guard_ && guard_->IsRefused()) || channel_.Now() >= end) {
    return ExchangeResult::Timeout;
  }
  KELVAR_LOG(2) << "IPMI: the session with " << host_ << " seems lost, opening another one";
  channel_.RestartSilence();
  const auto start = channel_.Now();
  const u64 before = channel_.TotalTransmissions();
  const SessionResult opened = OpenSession({timings_, std::min(end, channel_.After(timings_.setUpLimitMs))});
  RecordSetUp(opened, start, before);
  if (opened != SessionResult::Opened) {
    return ExchangeResult::Timeout;
  }
  const ExchangeResult result = AskInSession(command, reply, options);
  neverAnswered_ = result == ExchangeResult::Reply ? neverAnswered_ : std::optional(key);
  return result;
}

ExchangeResult LanTransport::AskInSession(const IPMICOMMAND& command, Reply& reply, const ExchangeOptions& options) {
  const u64 before = channel_.TotalTransmissions();
  const ExchangeResult result = exchange_.Ask(*session_, options, command, reply);
  transmissions_ += static_cast<u32>(channel_.TotalTransmissions() - before);
  return result;
}

void LanTransport::Close() noexcept {
  try {
    if (session_) {
      IpmiTimings shortly = timings_;
      shortly.tries = std::min(timings_.tries, 3U);
      Reply reply;
      channel_.RestartSilence();
      exchange_.AskApplication(*session_, {shortly, Clock::time_point::max()}, kCloseSession, CloseData(*session_),
                               reply);
    }
  } catch (...) {
    KELVAR_LOG(2) << "IPMI: the session with " << host_ << " could not be closed";
  }
  session_.reset();
  channel_.Close();
  opened_ = false;
}

}  // namespace Kelvar::Ipmi
