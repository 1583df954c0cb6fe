#include "transport/ipmi/SessionNegotiator.h"

#include <algorithm>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "transport/ipmi/Ipmi15Handshake.h"
#include "transport/ipmi/IpmiCommands.h"
#include "transport/ipmi/RmcpPlusHandshake.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kThisChannel = 0x0E;
constexpr u8 kWithPlus = 0x80;

}  // namespace

std::optional<AuthCapabilities> DecodeAuthCapabilities(ByteView data) {
  constexpr u8 kExtended = 0x80;
  constexpr u8 kPlusOffered = 0x02;
  constexpr u8 kBmcKeySet = 0x20;
  Text::ByteReader reader(data);
  reader.Skip(1);
  AuthCapabilities capabilities;
  capabilities.authTypes = reader.U8();
  const u8 status = reader.U8();
  const u8 versions = reader.U8();
  capabilities.plus = (capabilities.authTypes & kExtended) != 0 && (versions & kPlusOffered) != 0;
  capabilities.bmcKey = capabilities.plus && (status & kBmcKeySet) != 0;
  return reader.Ok() ? std::optional(capabilities) : std::nullopt;
}

SessionResult SessionNegotiator::Run(std::unique_ptr<LanSession>& session) {
  ExchangeResult heard = ExchangeResult::Timeout;
  if (!AskCapabilities(heard)) {
    return heard == ExchangeResult::PortUnreachable ? SessionResult::PortUnreachable : SessionResult::Timeout;
  }
  switch (kind_) {
    case SessionKind::Ipmi15Md5:
      return Open15(AuthType::Md5, session);
    case SessionKind::Ipmi15Password:
      return Open15(AuthType::Password, session);
    default:
      return OpenPlus(session);
  }
}

bool SessionNegotiator::AskCapabilities(ExchangeResult& result) {
  ExchangeOptions options = options_;
  options.stopWhenPortClosed = true;
  NoSession before;
  for (const u8 version : {kWithPlus, u8{0}}) {  // targets of IPMI 1.5 may refuse the question about RMCP+
    Reply reply;
    const u8 channel = kThisChannel | version;
    result = exchange_.AskApplication(before, options, kGetAuthCapabilities,
                                      {channel, static_cast<u8>(Privilege::Administrator)}, reply);
    if (result != ExchangeResult::Reply) {
      return false;
    }
    const auto capabilities = DecodeAuthCapabilities(reply.data);
    if (reply.completionCode == 0 && capabilities) {
      capabilities_ = *capabilities;
      return true;
    }
  }
  KELVAR_LOG(2) << "IPMI: the target does not tell its authentication capabilities";
  capabilities_ = AuthCapabilities{true, false, 0xFF};
  return true;
}

template <typename Handshake>
SessionResult SessionNegotiator::OpenWithPrivilege(std::unique_ptr<LanSession>& session, const Handshake& handshake) {
  SessionResult result = SessionResult::Failed;
  for (const Privilege privilege : {Privilege::Administrator, Privilege::Operator, Privilege::User}) {
    result = handshake(privilege);
    if (result == SessionResult::Opened) {
      return RaisePrivilege(*session, privilege) ? SessionResult::Opened : SessionResult::Timeout;
    }
    if (result != SessionResult::PrivilegeRefused) {
      break;
    }
  }
  return result;
}

SessionResult SessionNegotiator::OpenPlus(std::unique_ptr<LanSession>& session) {
  const auto suites = SuitesFor(suiteNumber_);
  SessionResult result = SessionResult::SuiteRefused;
  for (const CipherSuite* suite : suites) {
    result = OpenWithPrivilege(session, [&](Privilege privilege) {
      return RmcpPlusHandshake(channel_, options_, credentials_, *suite, privilege).Run(session);
    });
    // Some targets do not answer at all to a suite that they lack.
    const bool another = result == SessionResult::SuiteRefused ||
                         (result == SessionResult::SuiteUnanswered && suite != suites.back() && DoesNotOffer(*suite));
    if (!another) {
      break;
    }
  }
  const bool failed = result == SessionResult::SuiteRefused || result == SessionResult::SuiteUnanswered;
  if (failed && !capabilities_.plus) {
    KELVAR_LOG(1) << "IPMI: the target offers no RMCP+; an IPMI 1.5 session has to be asked for by name";
    return SessionResult::NotOffered;
  }
  return result == SessionResult::SuiteUnanswered ? SessionResult::Timeout : result;
}

SessionResult SessionNegotiator::Open15(AuthType type, std::unique_ptr<LanSession>& session) {
  if (!capabilities_.Offers(type)) {
    KELVAR_LOG(1) << "IPMI: the target offers no IPMI 1.5 session with authentication type " << static_cast<int>(type);
    return SessionResult::NotOffered;
  }
  return OpenWithPrivilege(session, [&](Privilege privilege) {
    return Ipmi15Handshake(exchange_, options_, credentials_, type, privilege).Run(session);
  });
}

bool SessionNegotiator::DoesNotOffer(const CipherSuite& suite) {
  constexpr u8 kMostPieces = 64;
  constexpr u8 kListBySuite = 0x80;
  constexpr std::size_t kFullPiece = 16;
  NoSession before;
  Bytes records;
  for (u8 index = 0; index < kMostPieces; ++index) {
    Reply reply;
    const Bytes data{kThisChannel, 0, static_cast<u8>(kListBySuite | index)};
    if (exchange_.AskApplication(before, options_, kGetCipherSuites, data, reply) != ExchangeResult::Reply) {
      return false;
    }
    if (reply.completionCode != 0 || reply.data.empty()) {
      break;  // a target without the command says nothing against the suite's absence
    }
    Append(records, ByteView(reply.data).subspan(1));  // after the channel number
    if (reply.data.size() < 1 + kFullPiece) {
      break;
    }
  }
  const auto offered = DecodeSuiteRecords(records);
  return std::find(offered.begin(), offered.end(), suite.id) == offered.end();
}

bool SessionNegotiator::RaisePrivilege(LanSession& session, Privilege highest) {
  for (u8 privilege = static_cast<u8>(highest); privilege >= static_cast<u8>(Privilege::User); --privilege) {
    Reply reply;
    if (exchange_.AskApplication(session, options_, kSetSessionPrivilege, {privilege}, reply) !=
        ExchangeResult::Reply) {
      return false;
    }
    if (reply.completionCode == 0) {
      KELVAR_LOG(3) << "IPMI: session open, privilege " << int{reply.data.empty() ? privilege : reply.data.front()};
      return true;
    }
  }
  return true;  // a new session has the user privilege without asking
}

}  // namespace Kelvar::Ipmi
