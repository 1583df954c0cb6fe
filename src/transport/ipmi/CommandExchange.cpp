#include "transport/ipmi/CommandExchange.h"

namespace Kelvar::Ipmi {

ExchangeResult CommandExchange::Ask(LanSession& session, const ExchangeOptions& options, const IPMICOMMAND& command,
                                    Reply& reply) {
  sequence_ = (sequence_ + 1) & 0x3F;
  const RequestKey key{command.netFn, command.command, sequence_};
  message_.clear();
  AppendRequest(message_, key, command.data);
  const auto accept = [&](std::span<u8> datagram) {
    const auto message = session.Unwrap(datagram);
    auto decoded = message ? DecodeReply(*message, key) : std::nullopt;
    if (decoded) {
      reply = std::move(*decoded);
    }
    return decoded.has_value();
  };
  return channel_.Exchange(
      options, [&](Bytes& packet) { session.Wrap(packet, message_); }, accept);
}

}  // namespace Kelvar::Ipmi
