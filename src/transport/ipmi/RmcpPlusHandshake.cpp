#include "transport/ipmi/RmcpPlusHandshake.h"

#include <algorithm>

#include "common/log/LogMacros.h"
#include "transport/ipmi/IpmiMessage.h"

namespace Kelvar::Ipmi {
namespace {

/// The target looks the user up by name alone, not by name and privilege.
constexpr u8 kNameOnlyLookup = 0x10;
constexpr int kMostRounds = 6;
constexpr int kMostCleanRounds = 3;
/// Codes of the target that do not fit the password, where copies of messages leave a doubt about each.
constexpr int kCertainlyWrong = 2;
constexpr std::size_t kMostSurplus = 8;

}  // namespace

RmcpPlusHandshake::RmcpPlusHandshake(UdpChannel& channel, const ExchangeOptions& options,
                                     const Credentials& credentials, const CipherSuite& suite, Privilege privilege)
    : channel_(channel), options_(options), credentials_(credentials), suite_(suite), privilege_(privilege) {
  exchange_.role = static_cast<u8>(kNameOnlyLookup | static_cast<u8>(privilege));
  exchange_.user = credentials.user;
  FillRandom({&tag_, 1});
}

SessionResult RmcpPlusHandshake::Run(std::unique_ptr<LanSession>& session) {
  SessionResult result = RunOnce(session);
  while (IsWorthAnotherRound(result) && channel_.Now() < options_.deadline) {
    KELVAR_LOG(4) << "IPMI: session set-up starts over";
    ReleaseSurplus(result);
    result = RunOnce(session);
  }
  ReleaseSurplus(result);
  if (result == SessionResult::Timeout && exchange_.targetId != 0 && !answersLogins_) {
    return SessionResult::LoginUnanswered;
  }
  const bool certain = clean_ || wrongCodes_ >= kCertainlyWrong;
  return result == SessionResult::LoginRefused && !certain ? SessionResult::Failed : result;
}

bool RmcpPlusHandshake::IsWorthAnotherRound(SessionResult result) const {
  switch (result) {
    case SessionResult::LoginRefused:
      // From message 3 on both sides have shown that they know the password: what does not fit is an earlier message.
      return clean_ ? session_ && round_ < kMostCleanRounds : wrongCodes_ < kCertainlyWrong && round_ < kMostRounds;
    case SessionResult::BmcKeyRefused:
    case SessionResult::NoSessionLeft:  // our own copies may have taken the last ones
      return !clean_ && round_ < kMostRounds;
    case SessionResult::Timeout:
    case SessionResult::Failed:
      return exchange_.targetId != 0 && round_ < (clean_ || !answersLogins_ ? kMostCleanRounds : kMostRounds);
    default:
      return false;
  }
}

SessionResult RmcpPlusHandshake::RunOnce(std::unique_ptr<LanSession>& session) {
  ++round_;
  session_.reset();
  clean_ = true;
  exchange_.targetId = 0;
  exchange_.consoleId = RandomNumber();
  consoleIds_.push_back(exchange_.consoleId);
  FillRandom(exchange_.consoleRandom);
  SessionResult result = OpenSession();
  if (result == SessionResult::Opened) {
    result = ExchangeRandoms();
  }
  if (result == SessionResult::Opened) {
    result = Confirm(session);
  }
  if (result == SessionResult::Opened || exchange_.targetId == 0) {
    return result;
  }
  if (answersLogins_) {
    CloseAttempt(result == SessionResult::LoginRefused && clean_ ? RakpStatus::kInvalidIntegrityCheck
                                                                 : RakpStatus::kIllegalParameter);
  } else {
    surplusIds_.push_back(exchange_.targetId);
  }
  return result;
}

template <typename T>
ExchangeResult RmcpPlusHandshake::Ask(const ExchangeOptions& options, PayloadType type, Bytes request,
                                      PayloadType replyType, std::optional<T> (*decode)(ByteView), T& reply) {
  const u8 firstTag = static_cast<u8>(tag_ + 1);
  RmcpPlusPacket fields;
  fields.type = type;
  fields.payload = request;
  const auto make = [&](Bytes& packet, u32 copy) {
    tag_ = static_cast<u8>(firstTag + copy);
    request[0] = tag_;
    AppendRmcpPlusPacket(packet, fields);
  };
  const auto take = [&](std::span<u8> datagram) -> std::optional<u32> {
    NoteLateReply(datagram);
    const auto payload = Payload(datagram, replyType);
    const auto decoded = payload ? decode(*payload) : std::nullopt;
    if (!decoded || decoded->consoleId.value_or(exchange_.consoleId) != exchange_.consoleId) {
      return std::nullopt;
    }
    const u8 copy = static_cast<u8>(decoded->tag - firstTag);
    if (copy > static_cast<u8>(tag_ - firstTag)) {
      return std::nullopt;
    }
    reply = *decoded;
    return copy;
  };
  const ExchangeResult result = channel_.Exchange(options, make, take);
  clean_ = clean_ && channel_.Transmissions() == 1;
  return result;
}

std::optional<ByteView> RmcpPlusHandshake::Payload(std::span<u8> datagram, PayloadType type) {
  const auto packet = ParseRmcpPlusPacket(datagram);
  if (!packet || packet->type != type) {
    return std::nullopt;
  }
  // A target that had opened the session when our message came again answers inside of it.
  if (session_ && packet->sessionId != 0) {
    return session_->Unwrap(datagram, type);
  }
  const bool plain = !packet->encrypted && !packet->authenticated && packet->sessionId == 0;
  return plain ? std::optional(packet->payload) : std::nullopt;
}

void RmcpPlusHandshake::NoteLateReply(ByteView datagram) {
  const auto packet = ParseRmcpPlusPacket(datagram);
  if (!packet || packet->sessionId != 0) {
    return;
  }
  if (packet->type == PayloadType::OpenSessionReply) {
    const auto reply = DecodeOpenSessionReply(packet->payload);
    const bool ours = reply && reply->status == RakpStatus::kOk && reply->consoleId &&
                      std::find(consoleIds_.begin(), consoleIds_.end(), *reply->consoleId) != consoleIds_.end();
    if (ours && reply->targetId != exchange_.targetId) {
      NoteOpened(*reply);
    }
  } else if (packet->type == PayloadType::Rakp2 && session_) {
    const auto reply = DecodeRakp2(packet->payload);
    const bool ours = reply && reply->status == RakpStatus::kOk && reply->consoleId == exchange_.consoleId;
    if (ours && reply->targetRandom != exchange_.targetRandom) {
      clean_ = false;
      channel_.NoteDoubledRequest();
    }
  }
}

void RmcpPlusHandshake::NoteOpened(const OpenSessionReply& reply) {
  const bool known = std::find(surplusIds_.begin(), surplusIds_.end(), reply.targetId) != surplusIds_.end();
  if (!known && surplusIds_.size() < kMostSurplus) {
    surplusIds_.push_back(reply.targetId);
  }
  // Some targets keep one session for each address, whose number is that of their last reply.
  if (exchange_.targetId != 0 && reply.consoleId == exchange_.consoleId && clean_) {
    clean_ = false;
    channel_.NoteDoubledRequest();
  }
}

SessionResult RmcpPlusHandshake::OpenSession() {
  ExchangeOptions options = options_;
  options.lastReplyCounts = true;
  OpenSessionReply reply;
  const Bytes request = EncodeOpenSessionRequest(0, privilege_, exchange_.consoleId, suite_);
  if (Ask(options, PayloadType::OpenSessionRequest, request, PayloadType::OpenSessionReply, &DecodeOpenSessionReply,
          reply) != ExchangeResult::Reply) {
    return SessionResult::SuiteUnanswered;
  }
  if (reply.status != RakpStatus::kOk) {
    return Refusal("Open Session", reply.status);
  }
  if (reply.authentication != suite_.authentication || reply.integrity != suite_.integrity ||
      reply.confidentiality != suite_.confidentiality || reply.targetId == 0) {
    KELVAR_LOG(2) << "IPMI: the target answers cipher suite " << int{suite_.id} << " with other algorithms";
    return SessionResult::SuiteRefused;
  }
  exchange_.targetId = reply.targetId;
  std::erase(surplusIds_, reply.targetId);
  return SessionResult::Opened;
}

SessionResult RmcpPlusHandshake::ExchangeRandoms() {
  ExchangeOptions options = options_;
  options.lastReplyCounts = true;
  RakpReply reply;
  if (Ask(options, PayloadType::Rakp1, EncodeRakp1(0, exchange_), PayloadType::Rakp2, &DecodeRakp2, reply) !=
      ExchangeResult::Reply) {
    return SessionResult::Timeout;
  }
  answersLogins_ = true;
  if (reply.status != RakpStatus::kOk) {
    return Refusal("RAKP message 2", reply.status);
  }
  exchange_.targetRandom = reply.targetRandom;
  exchange_.targetGuid = reply.targetGuid;
  if (!SameBytes(Rakp2Code(suite_, credentials_.Password(), exchange_).View(), reply.code)) {
    KELVAR_LOG(2) << "IPMI: the target's key exchange code does not fit the password";
    ++wrongCodes_;
    return SessionResult::LoginRefused;
  }
  // Where a copy is unanswered, the target may have another random by now, and would count a refused login.
  return channel_.AllAnswered() || round_ >= kMostRounds ? SessionResult::Opened : SessionResult::Failed;
}

SessionResult RmcpPlusHandshake::Confirm(std::unique_ptr<LanSession>& session) {
  const Secret key = SessionIntegrityKey(suite_, credentials_.SessionKey(), exchange_);
  session_ = std::make_unique<RmcpPlusSession>(suite_, key, exchange_.consoleId, exchange_.targetId);
  const Secret code = Rakp3Code(suite_, credentials_.Password(), exchange_);
  const Bytes request = EncodeRakp3(0, RakpStatus::kOk, exchange_.targetId, code.View());
  RakpReply reply;
  if (Ask(options_, PayloadType::Rakp3, request, PayloadType::Rakp4, &DecodeRakp4, reply) != ExchangeResult::Reply) {
    return SessionResult::Timeout;
  }
  if (reply.status != RakpStatus::kOk) {
    return Refusal("RAKP message 4", reply.status);
  }
  if (!SameBytes(Rakp4Code(suite_, key, exchange_).First(suite_.integritySize), reply.code)) {
    KELVAR_LOG(2) << "IPMI: the target's session key is another one: its BMC key (K_G) is not the one given";
    return SessionResult::BmcKeyRefused;
  }
  session = std::move(session_);
  return SessionResult::Opened;
}

SessionResult RmcpPlusHandshake::Refusal(const char* step, u8 status) const {
  KELVAR_LOG(2) << "IPMI: " << step << " refused with status " << int{status} << ", cipher suite " << int{suite_.id}
                << ", privilege " << static_cast<int>(privilege_);
  // Some targets say of a name that it is not authorized when it is not for this privilege.
  if (MeansPrivilegeRefused(status) || (status == RakpStatus::kUnauthorizedName && privilege_ != Privilege::User)) {
    return SessionResult::PrivilegeRefused;
  }
  if (MeansLoginRefused(status)) {
    return SessionResult::LoginRefused;
  }
  if (status == RakpStatus::kNoResources) {
    return SessionResult::NoSessionLeft;
  }
  return MeansSuiteRefused(status) && exchange_.targetId == 0 ? SessionResult::SuiteRefused : SessionResult::Failed;
}

void RmcpPlusHandshake::CloseAttempt(u8 status) {
  if (session_) {  // the target may have opened it, and only its reply have been lost
    Bytes id;
    AppendU32(id, exchange_.targetId);
    Bytes message;
    AppendRequest(message, {kNetFnApplication, kCloseSession, 0}, id);
    Bytes packet;
    session_->Wrap(packet, message);
    channel_.Post(packet);
  }
  PostRefusal(exchange_.targetId, status);
}

void RmcpPlusHandshake::ReleaseSurplus(SessionResult result) {
  if (answersLogins_ || result == SessionResult::NoSessionLeft) {
    for (const u32 id : surplusIds_) {
      PostRefusal(id, RakpStatus::kIllegalParameter);
    }
    surplusIds_.clear();
  }
}

void RmcpPlusHandshake::PostRefusal(u32 targetId, u8 status) {
  const Bytes refusal = EncodeRakp3(++tag_, status, targetId, {});
  RmcpPlusPacket fields;
  fields.type = PayloadType::Rakp3;
  fields.payload = refusal;
  Bytes packet;
  AppendRmcpPlusPacket(packet, fields);
  channel_.Post(packet);
}

}  // namespace Kelvar::Ipmi
