#include "simulator/ipmi/module/Bridge.h"

#include <numeric>

#include "common/text/ByteReader.h"

namespace Kelvar::Simulator {

namespace {

constexpr u8 kServiceProcessor = 0x20;
constexpr std::size_t kHeadLength = 3;
constexpr std::size_t kBodyStart = 6;  // after addresses, sequence number and command

u8 Sum(std::span<const u8> bytes) {
  return static_cast<u8>(std::accumulate(bytes.begin(), bytes.end(), 0U));
}

void AppendChecksum(Bytes& to, std::size_t from) {
  to.push_back(static_cast<u8>(0U - Sum(std::span(to).subspan(from))));
}

}  // namespace

std::optional<BridgedRequest> BridgedRequest::From(std::span<const u8> sendMessageData) {
  constexpr std::size_t kShortest = 1 + kBodyStart + 1;
  if (sendMessageData.size() < kShortest) {
    return std::nullopt;
  }
  const auto message = sendMessageData.subspan(1);
  if (Sum(message.first(kHeadLength)) != 0 || Sum(message.subspan(kHeadLength)) != 0) {
    return std::nullopt;
  }
  BridgedRequest request;
  request.address = message[0];
  request.netFn = message[1] >> 2;
  request.lun = message[1] & 0x03;
  request.sequence = message[4] >> 2;
  request.command = message[5];
  request.data.assign(message.begin() + kBodyStart, message.end() - 1);
  return request;
}

Bytes BridgedRequest::Message(const Bytes& reply) const {
  Bytes message{kServiceProcessor, static_cast<u8>((netFn | 1) << 2)};
  AppendChecksum(message, 0);
  message.insert(message.end(), {address, static_cast<u8>(sequence << 2 | lun), command});
  message.insert(message.end(), reply.begin(), reply.end());
  AppendChecksum(message, kHeadLength);
  return message;
}

std::optional<Bytes> ReplyInside(std::span<const u8> answer) {
  if (answer.size() < 1 + kBodyStart + 2 || answer[0] != 0) {
    return std::nullopt;
  }
  const auto reply = answer.subspan(1 + kBodyStart);
  return Bytes(reply.begin(), reply.end() - 1);
}

}  // namespace Kelvar::Simulator
