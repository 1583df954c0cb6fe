#pragma once

#include <optional>

#include "transport/ipmi/WireBytes.h"

namespace Kelvar::Ipmi {

enum class PayloadType : u8 {
  Ipmi = 0x00,
  OpenSessionRequest = 0x10,
  OpenSessionReply = 0x11,
  Rakp1 = 0x12,
  Rakp2 = 0x13,
  Rakp3 = 0x14,
  Rakp4 = 0x15,
};

/// Authentication types of IPMI 1.5 session headers; RMCP+ announces its own header by one more value.
enum class AuthType : u8 { None = 0, Md2 = 1, Md5 = 2, Password = 4, RmcpPlus = 6 };

inline constexpr std::size_t kAuthCode15Size = 16;
inline constexpr std::size_t kPassword15Size = 16;

/// RMCP header and IPMI 1.5 session header around an IPMI message. `authCode` is there unless the type is None.
struct Ipmi15Packet {
  AuthType authType = AuthType::None;
  u32 sequence = 0;
  u32 sessionId = 0;
  ByteView authCode;
  ByteView message;
};

/// RMCP header and RMCP+ session header around a payload, and the trailer of authenticated packets.
struct RmcpPlusPacket {
  PayloadType type = PayloadType::Ipmi;
  bool encrypted = false;
  bool authenticated = false;
  u32 sessionId = 0;
  u32 sequence = 0;
  ByteView payload;      ///< as on the wire, maybe encrypted
  ByteView trailer;      ///< after the payload: padding, its length, next header, authentication code
  ByteView afterHeader;  ///< from the session header to the end, what integrity is about
};

void AppendIpmi15Packet(Bytes& to, const Ipmi15Packet& packet);
/// The views point into `bytes`. Nothing when the headers are not those of IPMI 1.5 or a length is off.
std::optional<Ipmi15Packet> ParseIpmi15Packet(ByteView bytes);

/// Header and payload; a trailer is the session's to append.
void AppendRmcpPlusPacket(Bytes& to, const RmcpPlusPacket& packet);
/// The views point into `bytes`. Nothing for other headers, OEM payloads and lengths that do not fit.
std::optional<RmcpPlusPacket> ParseRmcpPlusPacket(ByteView bytes);

inline constexpr std::size_t kRmcpHeaderSize = 4;

}  // namespace Kelvar::Ipmi
