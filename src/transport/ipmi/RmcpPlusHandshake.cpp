#include "transport/ipmi/RmcpPlusHandshake.h"

#include "common/log/LogMacros.h"

namespace Kelvar::Ipmi {
namespace {

/// The target looks the user up by name alone, not by name and privilege.
constexpr u8 kNameOnlyLookup = 0x10;

}  // namespace

RmcpPlusHandshake::RmcpPlusHandshake(UdpChannel& channel, const ExchangeOptions& options,
                                     const Credentials& credentials, const CipherSuite& suite, Privilege privilege)
    : channel_(channel), options_(options), credentials_(credentials), suite_(suite), privilege_(privilege) {
  exchange_.role = static_cast<u8>(kNameOnlyLookup | static_cast<u8>(privilege));
  exchange_.user = credentials.user;
  FillRandom({&tag_, 1});
}

SessionResult RmcpPlusHandshake::Run(std::unique_ptr<LanSession>& session) {
  constexpr int kRounds = 3;
  SessionResult result = RunOnce(session);
  for (int round = 1; round < kRounds && MayBeOutOfStep(result) && Clock::now() < options_.deadline; ++round) {
    KELVAR_LOG(4) << "IPMI: session set-up starts over";
    result = RunOnce(session);
  }
  return result;
}

bool RmcpPlusHandshake::MayBeOutOfStep(SessionResult result) const {
  if (exchange_.targetId == 0) {
    return false;  // the target keeps nothing of us yet
  }
  // From message 3 on both sides have shown that they know the password: what does not fit is an earlier message.
  return result == SessionResult::Timeout || result == SessionResult::Failed ||
         (result == SessionResult::LoginRefused && session_);
}

SessionResult RmcpPlusHandshake::RunOnce(std::unique_ptr<LanSession>& session) {
  session_.reset();
  exchange_.targetId = 0;
  exchange_.consoleId = RandomNumber();
  FillRandom(exchange_.consoleRandom);
  SessionResult result = OpenSession();
  if (result == SessionResult::Opened) {
    result = ExchangeRandoms();
  }
  return result == SessionResult::Opened ? Confirm(session) : result;
}

template <typename T>
ExchangeResult RmcpPlusHandshake::Ask(PayloadType type, ByteView request, PayloadType replyType,
                                      std::optional<T> (*decode)(ByteView), T& reply) {
  RmcpPlusPacket fields;
  fields.type = type;
  fields.payload = request;
  const auto make = [&](Bytes& packet) { AppendRmcpPlusPacket(packet, fields); };
  const auto accept = [&](std::span<u8> datagram) {
    const auto payload = Payload(datagram, replyType);
    const auto decoded = payload ? decode(*payload) : std::nullopt;
    if (!decoded || decoded->tag != tag_ || decoded->consoleId.value_or(exchange_.consoleId) != exchange_.consoleId) {
      return false;
    }
    reply = *decoded;
    return true;
  };
  return channel_.Exchange(options_, make, accept);
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

SessionResult RmcpPlusHandshake::OpenSession() {
  OpenSessionReply reply;
  const Bytes request = EncodeOpenSessionRequest(++tag_, privilege_, exchange_.consoleId, suite_);
  if (Ask(PayloadType::OpenSessionRequest, request, PayloadType::OpenSessionReply, &DecodeOpenSessionReply, reply) !=
      ExchangeResult::Reply) {
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
  return SessionResult::Opened;
}

SessionResult RmcpPlusHandshake::ExchangeRandoms() {
  RakpReply reply;
  if (Ask(PayloadType::Rakp1, EncodeRakp1(++tag_, exchange_), PayloadType::Rakp2, &DecodeRakp2, reply) !=
      ExchangeResult::Reply) {
    return SessionResult::Timeout;
  }
  if (reply.status != RakpStatus::kOk) {
    return Refusal("RAKP message 2", reply.status);
  }
  exchange_.targetRandom = reply.targetRandom;
  exchange_.targetGuid = reply.targetGuid;
  if (SameBytes(Rakp2Code(suite_, credentials_.Password(), exchange_).View(), reply.code)) {
    return SessionResult::Opened;
  }
  KELVAR_LOG(2) << "IPMI: the target's key exchange code does not fit the password";
  RmcpPlusPacket farewell;  // lets the target forget the session at once
  const Bytes refusal = EncodeRakp3(++tag_, RakpStatus::kInvalidIntegrityCheck, exchange_.targetId, {});
  farewell.type = PayloadType::Rakp3;
  farewell.payload = refusal;
  Bytes packet;
  AppendRmcpPlusPacket(packet, farewell);
  channel_.Post(packet);
  return SessionResult::LoginRefused;
}

SessionResult RmcpPlusHandshake::Confirm(std::unique_ptr<LanSession>& session) {
  const Secret key = SessionIntegrityKey(suite_, credentials_.Password(), exchange_);
  session_ = std::make_unique<RmcpPlusSession>(suite_, key, exchange_.consoleId, exchange_.targetId);
  const Secret code = Rakp3Code(suite_, credentials_.Password(), exchange_);
  const Bytes request = EncodeRakp3(++tag_, RakpStatus::kOk, exchange_.targetId, code.View());
  RakpReply reply;
  if (Ask(PayloadType::Rakp3, request, PayloadType::Rakp4, &DecodeRakp4, reply) != ExchangeResult::Reply) {
    return SessionResult::Timeout;
  }
  if (reply.status != RakpStatus::kOk) {
    return Refusal("RAKP message 4", reply.status);
  }
  if (!SameBytes(Rakp4Code(suite_, key, exchange_).First(suite_.integritySize), reply.code)) {
    KELVAR_LOG(2) << "IPMI: the target's session key is another one; does it have a key of its own (K_G)?";
    return SessionResult::LoginRefused;
  }
  session = std::move(session_);
  return SessionResult::Opened;
}

SessionResult RmcpPlusHandshake::Refusal(const char* step, u8 status) const {
  KELVAR_LOG(2) << "IPMI: " << step << " refused with status " << int{status} << ", cipher suite " << int{suite_.id}
                << ", privilege " << static_cast<int>(privilege_);
  if (MeansLoginRefused(status)) {
    return SessionResult::LoginRefused;
  }
  if (MeansPrivilegeRefused(status)) {
    return SessionResult::PrivilegeRefused;
  }
  return MeansSuiteRefused(status) && exchange_.targetId == 0 ? SessionResult::SuiteRefused : SessionResult::Failed;
}

}  // namespace Kelvar::Ipmi
