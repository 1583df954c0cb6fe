#include "transport/ipmi/RmcpPacket.h"

#include <algorithm>

#include "common/text/ByteReader.h"

namespace Kelvar::Ipmi {
namespace {

/// Version 1.0, reserved, no RMCP acknowledge, class IPMI.
constexpr u8 kRmcpHeader[kRmcpHeaderSize] = {0x06, 0x00, 0xFF, 0x07};
constexpr u8 kEncrypted = 0x80;
constexpr u8 kAuthenticated = 0x40;

bool ReadRmcpHeader(Text::ByteReader& reader) {
  const u8 version = reader.U8();
  reader.Skip(2);  // the sequence number means something to ASF messages only
  return version == kRmcpHeader[0] && reader.U8() == kRmcpHeader[3];
}

bool IsKnown(u8 type) {
  const auto payload = static_cast<PayloadType>(type);
  return payload == PayloadType::Ipmi || (payload >= PayloadType::OpenSessionRequest && payload <= PayloadType::Rakp4);
}

}  // namespace

void AppendIpmi15Packet(Bytes& to, const Ipmi15Packet& packet) {
  Append(to, kRmcpHeader);
  to.push_back(static_cast<u8>(packet.authType));
  AppendU32(to, packet.sequence);
  AppendU32(to, packet.sessionId);
  Append(to, packet.authCode);
  to.push_back(static_cast<u8>(packet.message.size()));
  Append(to, packet.message);
}

std::optional<Ipmi15Packet> ParseIpmi15Packet(ByteView bytes) {
  Text::ByteReader reader(bytes);
  if (!ReadRmcpHeader(reader)) {
    return std::nullopt;
  }
  Ipmi15Packet packet;
  packet.authType = static_cast<AuthType>(reader.U8());
  constexpr AuthType kUnderstood[] = {AuthType::None, AuthType::Md5, AuthType::Password};
  if (std::find(std::begin(kUnderstood), std::end(kUnderstood), packet.authType) == std::end(kUnderstood)) {
    return std::nullopt;
  }
  packet.sequence = reader.U32();
  packet.sessionId = reader.U32();
  packet.authCode = reader.Bytes(packet.authType == AuthType::None ? 0 : kAuthCode15Size);
  // Old network chips need a pad byte at some sizes: what follows the message is not looked at.
  packet.message = reader.Bytes(reader.U8());
  return reader.Ok() ? std::optional(packet) : std::nullopt;
}

void AppendRmcpPlusPacket(Bytes& to, const RmcpPlusPacket& packet) {
  Append(to, kRmcpHeader);
  to.push_back(static_cast<u8>(AuthType::RmcpPlus));
  to.push_back(static_cast<u8>(static_cast<u8>(packet.type) | (packet.encrypted ? kEncrypted : 0) |
                               (packet.authenticated ? kAuthenticated : 0)));
  AppendU32(to, packet.sessionId);
  AppendU32(to, packet.sequence);
  AppendU16(to, static_cast<u16>(packet.payload.size()));
  Append(to, packet.payload);
}

std::optional<RmcpPlusPacket> ParseRmcpPlusPacket(ByteView bytes) {
  Text::ByteReader reader(bytes);
  if (!ReadRmcpHeader(reader) || reader.U8() != static_cast<u8>(AuthType::RmcpPlus)) {
    return std::nullopt;
  }
  const u8 type = reader.U8();
  const u8 plainType = type & static_cast<u8>(~(kEncrypted | kAuthenticated));
  if (!IsKnown(plainType)) {
    return std::nullopt;
  }
  RmcpPlusPacket packet;
  packet.type = static_cast<PayloadType>(plainType);
  packet.encrypted = (type & kEncrypted) != 0;
  packet.authenticated = (type & kAuthenticated) != 0;
  packet.sessionId = reader.U32();
  packet.sequence = reader.U32();
  packet.payload = reader.Bytes(reader.U16());
  packet.trailer = reader.Rest();
  if (!reader.Ok()) {
    return std::nullopt;
  }
  packet.afterHeader = bytes.subspan(kRmcpHeaderSize);
  return packet;
}

}  // namespace Kelvar::Ipmi
