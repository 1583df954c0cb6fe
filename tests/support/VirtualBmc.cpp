#include "support/VirtualBmc.h"

#include <algorithm>
#include <numeric>

#include "common/text/ByteReader.h"
#include "transport/ipmi/BridgedMessage.h"

namespace Kelvar::Test {

using namespace Ipmi;

namespace {

void AppendChecksum(Bytes& to, std::size_t from) {
  to.push_back(static_cast<u8>(0U - std::accumulate(to.begin() + static_cast<std::ptrdiff_t>(from), to.end(), 0U)));
}

/// The reply to a request message, from the place that it names.
Bytes MessageFor(ByteView request, const IpmiAnswer& answer) {
  const u8 requesterLun = request[4] & 0x03;
  Bytes message{kRemoteConsole, static_cast<u8>((request[1] & 0xFC) | 4 | requesterLun)};
  AppendChecksum(message, 0);
  Append(message, Bytes{request[0], static_cast<u8>((request[4] & 0xFC) | (request[1] & 0x03)), request[5],
                        answer.completionCode});
  Append(message, answer.data);
  AppendChecksum(message, 3);
  return message;
}

Bytes DataOf(ByteView request) {
  return {request.begin() + 6, request.end() - 1};
}

ByteView BytesView(const std::string& text) {
  return {reinterpret_cast<const u8*>(text.data()), text.size()};
}

Bytes Plus(PayloadType type, const Bytes& payload) {
  RmcpPlusPacket fields;
  fields.type = type;
  fields.payload = payload;
  Bytes packet;
  AppendRmcpPlusPacket(packet, fields);
  return packet;
}

}  // namespace

std::vector<std::vector<u8>> VirtualBmc::Answer(const std::vector<u8>& datagram) {
  std::optional<Bytes> reply;
  if (const auto plain = ParseIpmi15Packet(datagram)) {
    reply = AnswerPlain(plain->message);
  } else if (const auto plus = ParseRmcpPlusPacket(datagram)) {
    switch (plus->type) {
      case PayloadType::OpenSessionRequest:
        reply = AnswerOpen(plus->payload);
        break;
      case PayloadType::Rakp1:
        reply = AnswerRakp1(plus->payload);
        break;
      case PayloadType::Rakp3:
        reply = AnswerRakp3(plus->payload);
        break;
      default:
        return AnswerInSession(datagram, plus->sessionId);
    }
  }
  return reply ? std::vector<Bytes>{*reply} : std::vector<Bytes>();
}

std::optional<Bytes> VirtualBmc::AnswerPlain(ByteView message) {
  constexpr u8 kAuthCapabilities = 0x38;
  if (message.size() < 7 || message[5] != kAuthCapabilities) {
    return std::nullopt;
  }
  const u8 keyStatus = config_.bmcKey.empty() ? 0x04 : 0x24;
  const Bytes reply = MessageFor(message, Reply({1, 0x80, keyStatus, 2, 0, 0, 0, 0}));
  Ipmi15Packet fields;
  fields.message = reply;
  Bytes packet;
  AppendIpmi15Packet(packet, fields);
  return packet;
}

Bytes VirtualBmc::AnswerOpen(ByteView in) {
  if (sessions_.size() >= config_.mostSessions) {
    return Plus(PayloadType::OpenSessionReply, {in[0], RakpStatus::kNoResources});
  }
  if (in[12] != kSuite3.authentication) {
    return Plus(PayloadType::OpenSessionReply, {in[0], 0x11});
  }
  if (config_.renumbers) {
    std::erase_if(sessions_, [](const auto& session) { return !session.second.key; });
  }
  const u32 id = ++nextId_;
  Session& session = sessions_[id];
  session.exchange.consoleId = Text::ByteReader(in.subspan(4)).U32();
  session.exchange.targetId = id;
  Bytes payload{in[0], RakpStatus::kOk, 0, 0};
  AppendU32(payload, session.exchange.consoleId);
  AppendU32(payload, id);
  Append(payload, in.subspan(8));
  return Plus(PayloadType::OpenSessionReply, payload);
}

Bytes VirtualBmc::AnswerRakp1(ByteView in) {
  const auto found = sessions_.find(config_.renumbers ? nextId_ : Text::ByteReader(in.subspan(4)).U32());
  if (found == sessions_.end()) {
    return Plus(PayloadType::Rakp2, {in[0], 0x02});
  }
  RakpExchange& exchange = found->second.exchange;
  std::copy_n(in.begin() + 8, 16, exchange.consoleRandom.begin());
  exchange.role = in[24];
  exchange.user.assign(in.begin() + 28, in.end());
  FillRandom(exchange.targetRandom);
  u8 status = RakpStatus::kOk;
  if (exchange.user != config_.user) {
    status = RakpStatus::kUnauthorizedName;
  } else if ((exchange.role & 0x0F) > config_.highestPrivilege) {
    status = config_.privilegeRefusal;
  }
  Bytes payload{in[0], status, 0, 0};
  AppendU32(payload, exchange.consoleId);
  if (status == RakpStatus::kOk) {
    Append(payload, exchange.targetRandom);
    Append(payload, exchange.targetGuid);
    Append(payload, Rakp2Code(kSuite3, BytesView(config_.password), exchange).View());
  }
  return Plus(PayloadType::Rakp2, payload);
}

std::optional<Bytes> VirtualBmc::AnswerRakp3(ByteView in) {
  const auto found = sessions_.find(Text::ByteReader(in.subspan(4)).U32());
  Bytes payload{in[0], 0x02, 0, 0};
  if (found == sessions_.end()) {
    return Plus(PayloadType::Rakp4, payload);
  }
  Session& session = found->second;
  const RakpExchange& exchange = session.exchange;
  if (in[1] != RakpStatus::kOk) {
    refusedLogins_ += in[1] == RakpStatus::kInvalidIntegrityCheck ? 1 : 0;
    sessions_.erase(found);
    return std::nullopt;
  }
  if (!SameBytes(in.subspan(8), Rakp3Code(kSuite3, BytesView(config_.password), exchange).View())) {
    ++refusedLogins_;
    payload[1] = RakpStatus::kInvalidIntegrityCheck;
    sessions_.erase(found);
    return Plus(PayloadType::Rakp4, payload);
  }
  if (!session.key) {
    session.key = SessionIntegrityKey(kSuite3, SessionKey(), exchange);
    session.protection =
        std::make_unique<RmcpPlusSession>(kSuite3, *session.key, exchange.targetId, exchange.consoleId);
  }
  payload[1] = RakpStatus::kOk;
  AppendU32(payload, exchange.consoleId);
  Append(payload, Rakp4Code(kSuite3, *session.key, exchange).First(kSuite3.integritySize));
  return Plus(PayloadType::Rakp4, payload);
}

std::vector<Bytes> VirtualBmc::AnswerInSession(const std::vector<u8>& datagram, u32 id) {
  const auto found = sessions_.find(id);
  if (found == sessions_.end() || !found->second.key) {
    return {};
  }
  Session& session = found->second;
  Bytes packet = datagram;
  // A new one for each packet has seen no number before.
  RmcpPlusSession anew(kSuite3, *session.key, session.exchange.targetId, session.exchange.consoleId);
  const auto request = (config_.dropsReplays ? *session.protection : anew).Unwrap(packet);
  if (!request) {
    return {};
  }
  const Bytes message(request->begin(), request->end());
  std::vector<Bytes> replies;
  for (const Bytes& answer : AnswerCommand(message)) {
    session.protection->Wrap(replies.emplace_back(), answer);
  }
  if (message[1] >> 2 == kNetFnApplication && message[5] == kCloseSession) {
    sessions_.erase(found);
  }
  return replies;
}

std::vector<Bytes> VirtualBmc::AnswerCommand(const Bytes& message) {
  constexpr u8 kSetPrivilege = 0x3B;
  const u8 netFn = message[1] >> 2;
  const u8 command = message[5];
  if (netFn == kNetFnApplication && (command == kSetPrivilege || command == kCloseSession)) {
    return {MessageFor(message, Reply(command == kSetPrivilege ? DataOf(message) : Bytes()))};
  }
  if (netFn == kNetFnApplication && command == kSendMessage) {
    return AnswerBridged(message);
  }
  ScriptedIpmi* machine = machine_.At(message[0], message[1] & 0x03);
  if (machine == nullptr) {
    return {MessageFor(message, Refuse(0xC2))};
  }
  machine->commands.push_back({command, DataOf(message), netFn});
  const IpmiAnswer answer = machine->Execute(machine->commands.back());
  return answer.sent == 0 ? std::vector<Bytes>{MessageFor(message, answer)} : std::vector<Bytes>();
}

std::vector<Bytes> VirtualBmc::AnswerBridged(const Bytes& message) {
  const Bytes data = DataOf(message);
  const Bytes inner(data.begin() + 1, data.end());
  if (machine_.At(inner[0], inner[1] & 0x03) == nullptr) {
    return {MessageFor(message, Refuse(0x83))};
  }
  const Bytes ack = MessageFor(message, Reply({}));
  std::vector<Bytes> replies = AnswerCommand(inner);
  switch (config_.bridging) {
    case Bridging::AckFirst:
      replies.insert(replies.begin(), ack);
      return replies;
    case Bridging::ReplyFirst:
      replies.push_back(ack);
      return replies;
    case Bridging::Embedded:
      return {MessageFor(message, Reply(replies.empty() ? Bytes() : replies[0]))};
    case Bridging::Spoiled:
      replies[0].back() ^= 1;
      return {ack, replies[0]};
    case Bridging::Mute:
      break;
  }
  return {ack};
}

ByteView VirtualBmc::SessionKey() const {
  return BytesView(config_.bmcKey.empty() ? config_.password : config_.bmcKey);
}

}  // namespace Kelvar::Test
