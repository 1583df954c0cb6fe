#pragma once

#include <optional>

#include "transport/ipmi/WireBytes.h"

namespace Kelvar::Ipmi {

inline constexpr u8 kNetFnApplication = 0x06;
inline constexpr u8 kCloseSession = 0x3C;

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

/// IPMI message of a request from a remote console to the service processor, LUN 0, with both checksums.
void AppendRequest(Bytes& to, const RequestKey& key, ByteView data);

/// A reply and the request that it belongs to.
struct ReceivedReply {
  RequestKey key;
  Reply reply;
};

/// The reply in `message`; nothing unless it goes from the service processor to us and both checksums fit.
std::optional<ReceivedReply> DecodeReply(ByteView message);

}  // namespace Kelvar::Ipmi
