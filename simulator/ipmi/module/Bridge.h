#pragma once

#include <optional>
#include <span>

#include "simulator/ipmi/module/ReplyTable.h"

namespace Kelvar::Simulator {

/// The request inside of a Send Message command.
struct BridgedRequest {
  u8 address = 0;
  u8 lun = 0;
  u8 netFn = 0;
  u8 command = 0;
  u8 sequence = 0;
  Bytes data;

  /// Nothing for data that hold no request with right checksums.
  static std::optional<BridgedRequest> From(std::span<const u8> sendMessageData);
  /// The satellite's message to the service processor: `reply` is completion code and data.
  Bytes Message(const Bytes& reply) const;
};

/// Completion code and data of the satellite in ipmi_sim's answer to Send Message; nothing when it refused to hand the
/// request on.
std::optional<Bytes> ReplyInside(std::span<const u8> answer);

}  // namespace Kelvar::Simulator
