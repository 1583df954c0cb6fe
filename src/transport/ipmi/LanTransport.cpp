#include "transport/ipmi/LanTransport.h"

#include <openssl/crypto.h>

#include "common/log/LogMacros.h"
#include "transport/ipmi/LanOpening.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kCloseSession = 0x3C;
constexpr std::size_t kLongestName = 16;
/// The message of an IPMI 1.5 packet has at most 255 bytes, seven of them around the data.
constexpr std::size_t kMostData = 248;

const char* TextOf(Opening opening) {
  switch (opening) {
    case Opening::LoginRefused:
      return "user or password refused";
    case Opening::SuiteRefused:
      return "cipher suite refused";
    case Opening::PrivilegeRefused:
      return "no privilege granted";
    case Opening::Silence:
      return "no answer";
    case Opening::NoServer:
      return "nobody listens there";
    default:
      return "set-up failed";
  }
}

}  // namespace

Login::~Login() {
  OPENSSL_cleanse(password.data(), password.size());
}

LanTransport::LanTransport(std::string host, std::string user, const std::string& password, std::string port,
                           std::size_t suiteNumber)
    : host_(std::move(host)), port_(std::move(port)), login_(std::move(user), password), suiteNumber_(suiteNumber) {}

CONNECTIONSTATE LanTransport::Open(const IpmiTimings& timings) {
  Close();
  timings_ = timings;
  if (login_.user.size() > kLongestName) {
    KELVAR_LOG(1) << "IPMI: user names have at most " << kLongestName << " characters";
    return IPMIAUTHFAIL;
  }
  const Opening opening = OpenAnyAddress({timings_, After(timings_.limitMs)});
  opened_ = opening == Opening::Opened;
  if (opened_) {
    return IPMICONNECTED;
  }
  KELVAR_LOG(1) << "IPMI: no session with " << host_ << " port " << port_ << ": " << TextOf(opening);
  channel_.Close();
  return opening == Opening::LoginRefused ? IPMIAUTHFAIL : IPMICONNECTFAIL;
}

Opening LanTransport::OpenAnyAddress(const Patience& patience) {
  Opening opening = Opening::Failed;
  for (const Endpoint& endpoint : Resolve(host_, port_)) {
    if (!channel_.Open(endpoint)) {
      continue;
    }
    opening = OpenSession(patience);
    if (opening != Opening::Silence && opening != Opening::NoServer) {
      break;
    }
    KELVAR_LOG(2) << "IPMI: one address of " << host_ << ": " << TextOf(opening);
  }
  return opening;
}

Opening LanTransport::OpenSession(const Patience& patience) {
  session_.reset();
  const Opening opening = LanOpening(channel_, exchange_, login_, suiteNumber_, patience).Run(session_);
  if (opening != Opening::Opened) {
    session_.reset();
  }
  lastHeard_ = Clock::now();
  return opening;
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
  unanswered_ = Ask(command, reply) != Heard::Answer;
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

Heard LanTransport::Ask(const IPMICOMMAND& command, Reply& reply) {
  const Patience patience{timings_, After(timings_.limitMs)};
  const bool idle = Clock::now() - lastHeard_ >= std::chrono::milliseconds(timings_.idleExpiryMs);
  const Heard heard = session_ ? exchange_.Ask(*session_, patience, command, reply) : Heard::Silence;
  if (heard == Heard::Answer || (session_ && !idle && !unanswered_)) {
    return heard;
  }
  KELVAR_LOG(2) << "IPMI: the session with " << host_ << " seems lost, opening another one";
  return OpenSession(patience) == Opening::Opened ? exchange_.Ask(*session_, patience, command, reply) : Heard::Silence;
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
