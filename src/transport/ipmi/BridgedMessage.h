#pragma once

#include "transport/ipmi/AddressedCommands.h"
#include "transport/ipmi/IpmiMessage.h"

namespace Kelvar::Ipmi {

/// Data of the Send Message command that carries a request to a satellite; its reply is tracked.
Bytes SendMessageData(const ControllerAddress& to, const RequestKey& key, ByteView data);

/// What a message of the service processor says of a bridged request.
struct BridgedReply {
  enum class Kind : u8 {
    Other,     ///< nothing: it is the reply to something else
    HandedOn,  ///< the request is on its way, and the reply to it will be a message of its own
    NotHandedOn,
    Answered,
  };
  Kind kind = Kind::Other;
  u8 sequence = 0;
  Reply reply;  ///< of Send Message when NotHandedOn, of the satellite when Answered
};

/// The satellite's reply comes after that to Send Message, before it, or inside of it. Its checksums, address, logical
/// unit, network function and command must fit; `key.sequence` is not compared. Requests that the service processor
/// tracks have the sequence number of the Send Message command that they came in.
BridgedReply DecodeBridgedReply(ByteView message, const ControllerAddress& to, const RequestKey& key);

}  // namespace Kelvar::Ipmi
