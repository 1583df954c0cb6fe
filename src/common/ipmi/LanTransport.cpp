#include "common/ipmi/LanTransport.h"

#include <algorithm>

#include <openssl/crypto.h>

#include "common/ipmi/RmcpPlusHandshake.h"
#include "common/log/LogMacros.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kGetChannelAuthCapabilities = 0x38;
constexpr u8 kSetSessionPrivilege = 0x3B;
constexpr u8 kCloseSession = 0x3C;
constexpr u8 kGetCipherSuites = 0x54;
constexpr u8 kThisChannel = 0x0E;
constexpr u8 kPlusWanted = 0x80;
constexpr std::size_t kLongestName = 16;
constexpr std::size_t kMostData = 1024;

IPMICOMMAND ApplicationCommand(u8 command, std::vector<u8> data) {
  return {command, std::move(data), kNetFnApplication};
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
  const Opening opening = OpenAnyAddress(After(timings_.limitMs));
  opened_ = opening == Opening::Opened;
  if (opened_) {
    return IPMICONNECTED;
  }
  channel_.Close();
  return opening == Opening::LoginRefused ? IPMIAUTHFAIL : IPMICONNECTFAIL;
}

Opening LanTransport::OpenAnyAddress(Clock::time_point deadline) {
  Opening opening = Opening::Failed;
  for (const Endpoint& endpoint : Resolve(host_, port_)) {
    if (!channel_.Open(endpoint)) {
      continue;
    }
    opening = OpenHere({timings_, deadline});
    if (opening != Opening::Silence && opening != Opening::NoServer) {
      break;
    }
    KELVAR_LOG(2) << "IPMI: " << host_ << " port " << port_
                  << (opening == Opening::Silence ? " does not answer" : ": nobody listens");
  }
  return opening;
}

Opening LanTransport::OpenHere(const Patience& patience) {
  NoSession before;
  Reply capabilities;
  const auto ask = ApplicationCommand(kGetChannelAuthCapabilities,
                                      {kThisChannel | kPlusWanted, static_cast<u8>(Privilege::Administrator)});
  const Heard heard = Command(before, {patience.timings, patience.deadline, true}, ask, capabilities);
  if (heard != Heard::Answer) {
    return heard == Heard::NoServer ? Opening::NoServer : Opening::Silence;
  }
  return OpenPlus(patience);
}

Opening LanTransport::OpenPlus(const Patience& patience) {
  Opening opening = Opening::SuiteRefused;
  for (const CipherSuite* suite : Suites(patience)) {
    opening = OpenPlus(patience, *suite);
    if (opening != Opening::SuiteRefused) {
      break;
    }
  }
  return opening;
}

Opening LanTransport::OpenPlus(const Patience& patience, const CipherSuite& suite) {
  Opening opening = Opening::PrivilegeRefused;
  for (const Privilege privilege : {Privilege::Administrator, Privilege::Operator, Privilege::User}) {
    opening = RmcpPlusHandshake(channel_, patience, login_, suite, privilege).Run(session_);
    if (opening == Opening::Opened) {
      return RaisePrivilege(patience, privilege) ? Opening::Opened : Opening::Failed;
    }
    if (opening != Opening::PrivilegeRefused) {
      break;
    }
  }
  return opening;
}

std::vector<const CipherSuite*> LanTransport::Suites(const Patience& patience) {
  constexpr u8 kMostPieces = 64;
  constexpr std::size_t kFullPiece = 16;
  auto suites = SuitesFor(suiteNumber_);
  if (suites.size() == 1) {
    return suites;
  }
  NoSession before;
  Bytes records;
  for (u8 index = 0; index < kMostPieces; ++index) {
    Reply reply;
    const auto ask = ApplicationCommand(kGetCipherSuites, {kThisChannel, 0, static_cast<u8>(0x80 | index)});
    if (Command(before, patience, ask, reply) != Heard::Answer || reply.completionCode != 0 || reply.data.empty()) {
      break;
    }
    Append(records, ByteView(reply.data).subspan(1));
    if (reply.data.size() < 1 + kFullPiece) {
      break;
    }
  }
  const auto offered = DecodeSuiteRecords(records);
  const auto lacking = [&](const CipherSuite* suite) {
    return std::find(offered.begin(), offered.end(), suite->id) == offered.end();
  };
  // A list that names none of ours, or no list at all, decides nothing: the target is asked suite by suite.
  if (!std::all_of(suites.begin(), suites.end(), lacking)) {
    std::erase_if(suites, lacking);
  }
  return suites;
}

bool LanTransport::RaisePrivilege(const Patience& patience, Privilege highest) {
  for (u8 privilege = static_cast<u8>(highest); privilege >= static_cast<u8>(Privilege::User); --privilege) {
    Reply reply;
    if (Command(*session_, patience, ApplicationCommand(kSetSessionPrivilege, {privilege}), reply) != Heard::Answer) {
      return false;
    }
    if (reply.completionCode == 0) {
      KELVAR_LOG(3) << "IPMI: session with " << host_ << " open, privilege " << int{privilege};
      return true;
    }
  }
  return true;  // a new session has the user privilege without asking
}

Heard LanTransport::Command(LanSession& session, const Patience& patience, const IPMICOMMAND& command, Reply& reply) {
  sequence_ = (sequence_ + 1) & 0x3F;
  const RequestKey key{command.netFn, command.command, sequence_};
  Bytes message;
  AppendRequest(message, key, command.data);
  const auto accept = [&](std::span<u8> datagram) {
    const auto unwrapped = session.Unwrap(datagram);
    auto decoded = unwrapped ? DecodeReply(*unwrapped, key) : std::nullopt;
    if (!decoded) {
      return false;
    }
    reply = std::move(*decoded);
    return true;
  };
  const Heard heard = channel_.Exchange(
      patience, [&](Bytes& packet) { session.Wrap(packet, message); }, accept);
  if (heard == Heard::Answer) {
    lastHeard_ = Clock::now();
  }
  return heard;
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
  const Patience patience{timings_, After(timings_.limitMs)};
  const bool mayBeLost = unanswered_ || Clock::now() - lastHeard_ >= std::chrono::milliseconds(timings_.idleExpiryMs);
  Reply reply;
  Heard heard = session_ ? Command(*session_, patience, command, reply) : Heard::Silence;
  if (heard != Heard::Answer && mayBeLost) {
    KELVAR_LOG(2) << "IPMI: no answer in an idle session, opening it again";
    session_.reset();
    if (OpenAnyAddress(patience.deadline) == Opening::Opened) {
      heard = Command(*session_, patience, command, reply);
    }
  }
  unanswered_ = heard != Heard::Answer;
  if (unanswered_) {
    KELVAR_LOG(1) << "IPMI: no answer from " << host_ << " to command " << int{command.command}
                  << " of network function " << int{command.netFn};
    return kSendNoAnswer;
  }
  completionCode = reply.completionCode;
  response = std::move(reply.data);
  return 0;
}

void LanTransport::Close() noexcept {
  try {
    if (session_) {
      IpmiTimings shortly = timings_;
      shortly.tries = std::min(timings_.tries, 2U);
      Bytes id;
      AppendU32(id, session_->TargetId());
      Reply reply;
      Command(*session_, {shortly, After(timings_.limitMs)}, ApplicationCommand(kCloseSession, id), reply);
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
