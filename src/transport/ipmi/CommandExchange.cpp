#include "transport/ipmi/CommandExchange.h"

#include <algorithm>

#include "transport/ipmi/BridgedMessage.h"
#include "transport/ipmi/CommandPipeline.h"
#include "transport/ipmi/Crypto.h"

namespace Kelvar::Ipmi {
namespace {

constexpr std::size_t kLargestPacket = 512;

}  // namespace

ExchangeResult CommandExchange::Ask(LanSession& session, const ExchangeOptions& options, const ControllerAddress& to,
                                    const IPMICOMMAND& command, Reply& reply, bool& handedOn) {
  constexpr u8 kReservationCancelled = 0xC5;
  Reservations& reservations = reservations_[to];
  const IPMICOMMAND sent = reservations.Renewed(command);
  ExchangeResult result = AskOnce(session, options, to, sent, reply, handedOn);
  if (result == ExchangeResult::Reply && handedOn && reply.completionCode == kReservationCancelled) {
    const IPMICOMMAND renewed = reservations.Renewed(command);
    result = renewed.data != sent.data ? AskOnce(session, options, to, renewed, reply, handedOn) : result;
  }
  if (result == ExchangeResult::Reply && handedOn) {
    reservations.NoteTold(command, reply);
  }
  return result;
}

ExchangeResult CommandExchange::AskOnce(LanSession& session, const ExchangeOptions& options,
                                        const ControllerAddress& to, const IPMICOMMAND& command, Reply& reply,
                                        bool& handedOn) {
  copies_.clear();
  const auto make = [&](Bytes& packet, u32 /*copy*/) {
    MakePacket(session, to, command, packet);
    copies_.push_back(sequence_);
  };
  const auto take = [&](std::span<u8> datagram) -> std::optional<u32> {
    const auto message = session.Unwrap(datagram);
    if (!message) {
      return std::nullopt;
    }
    return to.IsBridged() ? TakeBridged(session, *message, to, command, reply, handedOn)
                          : TakeDirect(session, *message, to, command, reply);
  };
  return channel_.Exchange(options, make, take);
}

std::optional<u32> CommandExchange::TakeDirect(LanSession& session, ByteView message, const ControllerAddress& to,
                                               const IPMICOMMAND& command, Reply& reply) {
  auto received = DecodeAnyReply(message);
  if (!received || received->from.IsBridged()) {
    return std::nullopt;
  }
  reservations_[received->from].Note(*received, session.LastSequence());
  if (received->from.lun != to.lun || received->key.netFn != command.netFn ||
      received->key.command != command.command) {
    return std::nullopt;
  }
  const auto copy = CopyOf(received->key.sequence);
  if (copy) {
    reply = std::move(received->reply);
  }
  return copy;
}

std::optional<u32> CommandExchange::TakeBridged(LanSession& session, ByteView message, const ControllerAddress& to,
                                                const IPMICOMMAND& command, Reply& reply, bool& handedOn) {
  const RequestKey key{command.netFn, command.command, 0};
  BridgedReply received = DecodeBridgedReply(message, to, key);
  if (received.kind == BridgedReply::Kind::Other || received.kind == BridgedReply::Kind::HandedOn) {
    return std::nullopt;
  }
  const auto copy = CopyOf(received.sequence);
  if (!copy) {
    return std::nullopt;
  }
  handedOn = received.kind == BridgedReply::Kind::Answered;
  if (handedOn) {
    reservations_[to].Note({{key.netFn, key.command, received.sequence}, received.reply}, session.LastSequence());
  }
  reply = std::move(received.reply);
  return copy;
}

std::optional<u32> CommandExchange::CopyOf(u8 sequence) const {
  const auto copy = std::find(copies_.begin(), copies_.end(), sequence);
  return copy != copies_.end() ? std::optional(static_cast<u32>(copy - copies_.begin())) : std::nullopt;
}

void CommandExchange::AskAhead(LanSession& session, const ExchangeOptions& options, std::span<QueuedCommand> commands,
                               CommandWindow& window) {
  CommandPipeline(channel_, *this, session, window).Run(options, commands);
}

void CommandExchange::Post(LanSession& session, const IPMICOMMAND& command) {
  Bytes packet;
  packet.reserve(kLargestPacket);  // one that grew would leave copies behind
  MakePacket(session, {}, command, packet);
  channel_.Post(packet);
  Wipe(packet);
}

void CommandExchange::MakePacket(LanSession& session, const ControllerAddress& to, const IPMICOMMAND& command,
                                 Bytes& packet) {
  sequence_ = (sequence_ + 1) & 0x3F;
  message_.clear();
  const RequestKey key{command.netFn, command.command, sequence_};
  if (to.IsBridged()) {
    AppendRequest(message_, {kNetFnApplication, kSendMessage, sequence_}, SendMessageData(to, key, command.data));
  } else {
    AppendRequest(message_, key, command.data, to);
  }
  session.Wrap(packet, message_);
}

}  // namespace Kelvar::Ipmi
