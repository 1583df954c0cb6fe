#include "transport/ipmi/CommandExchange.h"

#include <algorithm>

#include "transport/ipmi/Crypto.h"

namespace Kelvar::Ipmi {
namespace {

constexpr std::size_t kLargestPacket = 512;

}  // namespace

ExchangeResult CommandExchange::Ask(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command,
                                    Reply& reply) {
  constexpr u8 kReservationCancelled = 0xC5;
  const IPMICOMMAND sent = reservations_.Renewed(command);
  ExchangeResult result = AskOnce(session, options, sent, reply);
  if (result == ExchangeResult::Reply && reply.completionCode == kReservationCancelled) {
    const IPMICOMMAND renewed = reservations_.Renewed(command);
    result = renewed.data != sent.data ? AskOnce(session, options, renewed, reply) : result;
  }
  if (result == ExchangeResult::Reply) {
    reservations_.NoteTold(command, reply);
  }
  return result;
}

ExchangeResult CommandExchange::AskOnce(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command,
                                        Reply& reply) {
  copies_.clear();
  const auto make = [&](Bytes& packet, u32 /*copy*/) {
    MakePacket(session, command, packet);
    copies_.push_back(sequence_);
  };
  const auto take = [&](std::span<u8> datagram) -> std::optional<u32> {
    const auto message = session.Unwrap(datagram);
    auto received = message ? DecodeReply(*message) : std::nullopt;
    if (!received) {
      return std::nullopt;
    }
    reservations_.Note(*received, session.LastSequence());
    const auto copy = std::find(copies_.begin(), copies_.end(), received->key.sequence);
    if (received->key.netFn != command.netFn || received->key.command != command.command || copy == copies_.end()) {
      return std::nullopt;
    }
    reply = std::move(received->reply);
    return static_cast<u32>(copy - copies_.begin());
  };
  return channel_.Exchange(options, make, take);
}

void CommandExchange::Post(LanSession& session, const IPMICOMMAND& command) {
  Bytes packet;
  packet.reserve(kLargestPacket);  // one that grew would leave copies behind
  MakePacket(session, command, packet);
  channel_.Post(packet);
  Wipe(packet);
}

void CommandExchange::MakePacket(LanSession& session, const IPMICOMMAND& command, Bytes& packet) {
  sequence_ = (sequence_ + 1) & 0x3F;
  message_.clear();
  AppendRequest(message_, {command.netFn, command.command, sequence_}, command.data);
  session.Wrap(packet, message_);
}

}  // namespace Kelvar::Ipmi
