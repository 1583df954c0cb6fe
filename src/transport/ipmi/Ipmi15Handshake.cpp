#include "transport/ipmi/Ipmi15Handshake.h"

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "transport/ipmi/Ipmi15Session.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kNoSlot = 0x81;
constexpr u8 kNoSlotForPrivilege = 0x83;
constexpr u8 kPrivilegeTooHigh = 0x86;
constexpr u8 kUnknownUser = 0x81;
constexpr u8 kNoNullUser = 0x82;
constexpr std::size_t kNameSize = 16;
constexpr std::size_t kChallengeSize = 16;

}  // namespace

SessionResult Ipmi15Handshake::Run(std::unique_ptr<LanSession>& session) {
  if (credentials_.Password().size() > kPassword15Size) {
    KELVAR_LOG(1) << "IPMI: passwords of IPMI 1.5 have at most " << kPassword15Size << " characters";
    return SessionResult::LoginRefused;
  }
  SessionResult result = RunOnce(session);
  // Targets drop what is signed with a wrong password; a lost reply looks the same, but hardly twice.
  if (result == SessionResult::Timeout && challenged_) {
    result = RunOnce(session);
    result = result == SessionResult::Timeout && challenged_ ? SessionResult::LoginRefused : result;
  }
  return result;
}

SessionResult Ipmi15Handshake::RunOnce(std::unique_ptr<LanSession>& session) {
  challenged_ = false;
  const SessionResult result = AskChallenge();
  challenged_ = result == SessionResult::Opened;
  return challenged_ ? Activate(session) : result;
}

SessionResult Ipmi15Handshake::AskChallenge() {
  Bytes data{static_cast<u8>(authType_)};
  data.insert(data.end(), credentials_.user.begin(), credentials_.user.end());
  data.resize(1 + kNameSize);
  NoSession before;
  Reply reply;
  ExchangeOptions options = options_;
  options.lastReplyCounts = true;
  if (exchange_.AskApplication(before, options, kGetSessionChallenge, data, reply) != ExchangeResult::Reply) {
    return SessionResult::Timeout;
  }
  if (reply.completionCode != 0) {
    KELVAR_LOG(2) << "IPMI: Get Session Challenge refused with completion code " << int{reply.completionCode};
    const bool login = reply.completionCode == kUnknownUser || reply.completionCode == kNoNullUser;
    return login ? SessionResult::LoginRefused : SessionResult::Failed;
  }
  Text::ByteReader reader(reply.data);
  temporaryId_ = reader.U32();
  const ByteView challenge = reader.Bytes(kChallengeSize);
  challenge_.assign(challenge.begin(), challenge.end());
  return reader.Ok() ? SessionResult::Opened : SessionResult::Failed;
}

SessionResult Ipmi15Handshake::Activate(std::unique_ptr<LanSession>& session) {
  const u32 firstIncoming = RandomNumber();
  Bytes data{static_cast<u8>(authType_), static_cast<u8>(privilege_)};
  Append(data, challenge_);
  AppendU32(data, firstIncoming);
  auto opened = std::make_unique<Ipmi15Session>(credentials_, Activation15{authType_, temporaryId_, 0}, firstIncoming);
  Reply reply;
  if (exchange_.AskApplication(*opened, options_, kActivateSession, data, reply) != ExchangeResult::Reply) {
    return SessionResult::Timeout;
  }
  if (reply.completionCode != 0) {
    KELVAR_LOG(2) << "IPMI: Activate Session refused with completion code " << int{reply.completionCode}
                  << ", privilege " << static_cast<int>(privilege_);
    if (reply.completionCode >= kNoSlot && reply.completionCode <= kNoSlotForPrivilege) {
      return SessionResult::NoSessionLeft;
    }
    return reply.completionCode == kPrivilegeTooHigh ? SessionResult::PrivilegeRefused : SessionResult::Failed;
  }
  Text::ByteReader reader(reply.data);
  Activation15 activated;
  activated.authType = static_cast<AuthType>(reader.U8());
  activated.sessionId = reader.U32();
  activated.sequence = reader.U32();
  // A session that continues without authentication is not the one that was asked for.
  if (!reader.Ok() || activated.authType != authType_ || activated.sessionId == 0 || activated.sequence == 0) {
    KELVAR_LOG(2) << "IPMI: the response to Activate Session is malformed";
    return SessionResult::Failed;
  }
  opened->Activate(activated);
  session = std::move(opened);
  return SessionResult::Opened;
}

}  // namespace Kelvar::Ipmi
