#include "transport/ipmi/BridgedMessage.h"

namespace Kelvar::Ipmi {
namespace {

using Kind = BridgedReply::Kind;

bool IsSendMessage(const ReceivedReply& received) {
  return received.from.IsPlain() && received.key.netFn == kNetFnApplication && received.key.command == kSendMessage;
}

bool IsFrom(const ReceivedReply& received, const ControllerAddress& to, const RequestKey& key) {
  return received.from.address == to.address && received.from.lun == to.lun && received.key.netFn == key.netFn &&
         received.key.command == key.command;
}

}  // namespace

Bytes SendMessageData(const ControllerAddress& to, const RequestKey& key, ByteView data) {
  constexpr u8 kTracked = 0x40;
  Bytes message{static_cast<u8>(kTracked | (to.channel & 0x0F))};
  AppendRequest(message, key, data, to, kServiceProcessor);
  return message;
}

BridgedReply DecodeBridgedReply(ByteView message, const ControllerAddress& to, const RequestKey& key) {
  auto received = DecodeAnyReply(message);
  if (!received) {
    return {};
  }
  const u8 sequence = received->key.sequence;
  if (IsFrom(*received, to, key)) {
    return {Kind::Answered, sequence, std::move(received->reply)};
  }
  if (!IsSendMessage(*received)) {
    return {};
  }
  if (received->reply.completionCode != 0) {
    return {Kind::NotHandedOn, sequence, std::move(received->reply)};
  }
  if (received->reply.data.empty()) {
    return {Kind::HandedOn, sequence, {}};
  }
  auto inner = DecodeAnyReply(received->reply.data);
  if (!inner || !IsFrom(*inner, to, key) || inner->key.sequence != sequence) {
    return {};
  }
  return {Kind::Answered, sequence, std::move(inner->reply)};
}

}  // namespace Kelvar::Ipmi
