#include "transport/ipmi/IpmiMessage.h"

#include <numeric>

#include "common/text/ByteReader.h"

namespace Kelvar::Ipmi {
namespace {

/// The byte that makes the sum of all zero.
u8 Checksum(ByteView bytes) {
  return static_cast<u8>(0U - std::accumulate(bytes.begin(), bytes.end(), 0U));
}

}  // namespace

void AppendRequest(Bytes& to, const RequestKey& key, ByteView data, const ControllerAddress& receiver, u8 requester) {
  const u8 head[] = {receiver.address, static_cast<u8>(key.netFn << 2 | (receiver.lun & 0x03))};
  Append(to, head);
  to.push_back(Checksum(head));
  const std::size_t body = to.size();
  to.push_back(requester);
  to.push_back(static_cast<u8>(key.sequence << 2));
  to.push_back(key.command);
  Append(to, data);
  to.push_back(Checksum(ByteView(to).subspan(body)));
}

std::optional<ReceivedReply> DecodeAnyReply(ByteView message) {
  constexpr std::size_t kHead = 3;
  constexpr std::size_t kAround = 8;  // everything but the data
  if (message.size() < kAround || Checksum(message.first(kHead)) != 0 || Checksum(message.subspan(kHead)) != 0) {
    return std::nullopt;
  }
  Text::ByteReader reader(message);
  const u8 requester = reader.U8();
  const u8 netFnAndLun = reader.U8();
  reader.Skip(1);
  ReceivedReply received;
  received.from.address = reader.U8();
  const u8 sequenceAndLun = reader.U8();
  received.from.lun = sequenceAndLun & 0x03;
  const bool isReply = (netFnAndLun & 0x07) == 0x04;  // odd, and to LUN 0
  const bool handedOn = requester == kServiceProcessor && received.from.IsBridged();
  if ((requester != kRemoteConsole && !handedOn) || !isReply) {
    return std::nullopt;
  }
  received.key.netFn = static_cast<u8>((netFnAndLun >> 2) & 0x3E);
  received.key.sequence = static_cast<u8>(sequenceAndLun >> 2);
  received.key.command = reader.U8();
  received.reply.completionCode = reader.U8();
  const ByteView data = reader.Bytes(message.size() - kAround);
  received.reply.data.assign(data.begin(), data.end());
  return received;
}

std::optional<ReceivedReply> DecodeReply(ByteView message) {
  auto received = DecodeAnyReply(message);
  return received && received->from.IsPlain() ? received : std::nullopt;
}

}  // namespace Kelvar::Ipmi
