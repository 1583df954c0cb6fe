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

std::optional<Reply> DecodeReply(ByteView message, const RequestKey& key) {
  constexpr std::size_t kHead = 3;
  constexpr std::size_t kAround = 8;  // everything but the data
  if (message.size() < kAround || Checksum(message.first(kHead)) != 0 || Checksum(message.subspan(kHead)) != 0) {
    return std::nullopt;
  }
  Text::ByteReader reader(message);
  const bool toUs = reader.U8() == kRemoteConsole;
  const bool netFnFits = reader.U8() == ((key.netFn | 1) << 2);
  reader.Skip(1);
  const bool fromTarget = reader.U8() == kServiceProcessor;
  const bool sequenceFits = reader.U8() == (key.sequence << 2);
  const bool commandFits = reader.U8() == key.command;
  if (!toUs || !netFnFits || !fromTarget || !sequenceFits || !commandFits) {
    return std::nullopt;
  }
  Reply reply;
  reply.completionCode = reader.U8();
  const ByteView data = reader.Bytes(message.size() - kAround);
  reply.data.assign(data.begin(), data.end());
  return reply;
}

}  // namespace Kelvar::Ipmi
