#include "transport/ipmi/IpmiMessage.h"

#include <numeric>

#include "common/text/ByteReader.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kServiceProcessor = 0x20;
constexpr u8 kRemoteConsole = 0x81;

/// The byte that makes the sum of all zero.
u8 Checksum(ByteView bytes) {
  return static_cast<u8>(0U - std::accumulate(bytes.begin(), bytes.end(), 0U));
}

}  // namespace

void AppendRequest(Bytes& to, const RequestKey& key, ByteView data) {
  const u8 head[] = {kServiceProcessor, static_cast<u8>(key.netFn << 2)};
  Append(to, head);
  to.push_back(Checksum(head));
  const std::size_t body = to.size();
  to.push_back(kRemoteConsole);
  to.push_back(static_cast<u8>(key.sequence << 2));
  to.push_back(key.command);
  Append(to, data);
  to.push_back(Checksum(ByteView(to).subspan(body)));
}

std::optional<ReceivedReply> DecodeReply(ByteView message) {
  constexpr std::size_t kHead = 3;
  constexpr std::size_t kAround = 8;  // everything but the data
  if (message.size() < kAround || Checksum(message.first(kHead)) != 0 || Checksum(message.subspan(kHead)) != 0) {
    return std::nullopt;
  }
  Text::ByteReader reader(message);
  const bool toUs = reader.U8() == kRemoteConsole;
  const u8 netFnAndLun = reader.U8();
  reader.Skip(1);
  const bool fromTarget = reader.U8() == kServiceProcessor;
  const u8 sequenceAndLun = reader.U8();
  const bool isReply = (netFnAndLun & 0x07) == 0x04 && (sequenceAndLun & 0x03) == 0;  // odd, and of LUN 0
  if (!toUs || !fromTarget || !isReply) {
    return std::nullopt;
  }
  ReceivedReply received;
  received.key.netFn = static_cast<u8>((netFnAndLun >> 2) & 0x3E);
  received.key.sequence = static_cast<u8>(sequenceAndLun >> 2);
  received.key.command = reader.U8();
  received.reply.completionCode = reader.U8();
  const ByteView data = reader.Bytes(message.size() - kAround);
  received.reply.data.assign(data.begin(), data.end());
  return received;
}

}  // namespace Kelvar::Ipmi
