#pragma once

#include <optional>

#include "transport/ipmi/AddressedCommands.h"
#include "transport/ipmi/IpmiCommands.h"
#include "transport/ipmi/WireBytes.h"

namespace Kelvar::Ipmi {

inline constexpr u8 kRemoteConsole = 0x81;

/// What a reply must repeat to belong to a request.
struct RequestKey {
  u8 netFn = 0;  ///< of the request, even, 6 bits
  u8 command = 0;
  u8 sequence = 0;  ///< 6 bits
};

struct Reply {
  u8 completionCode = 0xFF;
  Bytes data;  ///< after the completion code
};

/// IPMI message of a request with both checksums: from a remote console, or from the service processor.
void AppendRequest(Bytes& to, const RequestKey& key, ByteView data, const ControllerAddress& receiver = {},
                   u8 requester = kRemoteConsole);

/// A reply and the request that it belongs to.
struct ReceivedReply {
  RequestKey key;
  Reply reply;
  ControllerAddress from{};  ///< without the channel, which replies do not name
};

/// The reply in `message`; nothing unless both checksums fit, and it goes to us, or from a satellite to the service
/// processor, which handed it on.
std::optional<ReceivedReply> DecodeAnyReply(ByteView message);
/// The same of LUN 0 of the service processor alone.
std::optional<ReceivedReply> DecodeReply(ByteView message);

}  // namespace Kelvar::Ipmi
