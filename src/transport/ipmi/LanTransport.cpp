#include "transport/ipmi/LanTransport.h"

#include <openssl/crypto.h>

#include "common/log/LogMacros.h"
#include "transport/ipmi/SessionNegotiator.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kCloseSession = 0x3C;
constexpr std::size_t kLongestName = 16;
/// The message of an IPMI 1.5 packet has at most 255 bytes, seven of them around the data.
constexpr std::size_t kMostData = 248;

const char* TextOf(SessionResult result) {
  switch (result) {
    case SessionResult::LoginRefused:
      return "user or password refused";
    case SessionResult::SuiteRefused:
      return "cipher suite refused";
    case SessionResult::PrivilegeRefused:
      return "no privilege granted";
    case SessionResult::Timeout:
      return "no answer";
    case SessionResult::PortUnreachable:
      return "port closed";
    default:
      return "set-up failed";
  }
}

}  // namespace

Credentials::~Credentials() {
  OPENSSL_cleanse(password.data(), password.size());
}

LanTransport::LanTransport(std::string host, std::string user, const std::string& password, std::string port,
                           std::size_t suiteNumber)
    : host_(std::move(host)),
      port_(std::move(port)),
      credentials_(std::move(user), password),
      suiteNumber_(suiteNumber) {}

CONNECTIONSTATE LanTransport::Open(const IpmiTimings& timings) {
  Close();
  timings_ = timings;
  if (credentials_.user.size() > kLongestName) {
    KELVAR_LOG(1) << "IPMI: user names have at most " << kLongestName << " characters";
    return IPMIAUTHFAIL;
  }
  const SessionResult result = OpenAnyAddress({timings_, After(timings_.limitMs)});
  opened_ = result == SessionResult::Opened;
  if (opened_) {
    return IPMICONNECTED;
  }
  KELVAR_LOG(1) << "IPMI: no session with " << host_ << " port " << port_ << ": " << TextOf(result);
  channel_.Close();
  return result == SessionResult::LoginRefused ? IPMIAUTHFAIL : IPMICONNECTFAIL;
}

SessionResult LanTransport::OpenAnyAddress(const ExchangeOptions& options) {
  SessionResult result = SessionResult::Failed;
  for (const Endpoint& endpoint : Resolve(host_, port_)) {
    if (!channel_.Open(endpoint)) {
      continue;
    }
    result = OpenSession(options);
    if (result != SessionResult::Timeout && result != SessionResult::PortUnreachable) {
      break;
    }
    KELVAR_LOG(2) << "IPMI: one address of " << host_ << ": " << TextOf(result);
  }
  return result;
}

SessionResult LanTransport::OpenSession(const ExchangeOptions& options) {
  session_.reset();
  const SessionResult result =
      SessionNegotiator(channel_, exchange_, credentials_, suiteNumber_, options).Run(session_);
  if (result != SessionResult::Opened) {
    session_.reset();
  }
  lastHeard_ = Clock::now();
  return result;
}

int LanTransport::Send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) {
  if (!opened_) {
    return kSendNotConnected;
  }
  if (command.data.size() > kMostData || command.netFn > 0x3F || (command.netFn & 1) != 0) {
    KELVAR_LOG(1) << "IPMI: no request can carry network function " << int{command.netFn} << " with "
                  << command.data.size() << " bytes";
    return kSendNotPossible;
  }
  Reply reply;
  unanswered_ = Ask(command, reply) != ExchangeResult::Reply;
  if (unanswered_) {
    KELVAR_LOG(1) << "IPMI: no answer from " << host_ << " to command " << int{command.command}
                  << " of network function " << int{command.netFn};
    return kSendNoAnswer;
  }
  lastHeard_ = Clock::now();
  completionCode = reply.completionCode;
  response = std::move(reply.data);
  return 0;
}

ExchangeResult LanTransport::Ask(const IPMICOMMAND& command, Reply& reply) {
  const ExchangeOptions options{timings_, After(timings_.limitMs)};
  const bool idle = Clock::now() - lastHeard_ >= std::chrono::milliseconds(timings_.idleExpiryMs);
  const ExchangeResult result = session_ ? exchange_.Ask(*session_, options, command, reply) : ExchangeResult::Timeout;
  if (result == ExchangeResult::Reply || (session_ && !idle && !unanswered_)) {
    return result;
  }
  KELVAR_LOG(2) << "IPMI: the session with " << host_ << " seems lost, opening another one";
  return OpenSession(options) == SessionResult::Opened ? exchange_.Ask(*session_, options, command, reply)
                                                       : ExchangeResult::Timeout;
}

void LanTransport::Close() noexcept {
  try {
    if (session_) {
      IpmiTimings shortly = timings_;
      shortly.tries = std::min(timings_.tries, 2U);
      Bytes id;
      AppendU32(id, session_->TargetId());
      Reply reply;
      exchange_.AskApplication(*session_, {shortly, After(timings_.limitMs)}, kCloseSession, id, reply);
    }
  } catch (...) {
    KELVAR_LOG(2) << "IPMI: the session with " << host_ << " could not be closed";
  }
  session_.reset();
  channel_.Close();
  opened_ = false;
  unanswered_ = false;
}

}  // namespace Kelvar::Ipmi
