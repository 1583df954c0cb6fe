#pragma once

#include <array>
#include <optional>
#include <string>

#include "transport/ipmi/CipherSuite.h"
#include "transport/ipmi/Crypto.h"

namespace Kelvar::Ipmi {

enum class Privilege : u8 { User = 2, Operator = 3, Administrator = 4 };

using Random16 = std::array<u8, 16>;

/// Status bytes of Open Session and RAKP replies that decide what happens next.
namespace RakpStatus {
inline constexpr u8 kOk = 0x00;
inline constexpr u8 kNoResources = 0x01;
inline constexpr u8 kInvalidRole = 0x09;
inline constexpr u8 kUnauthorizedRole = 0x0A;
inline constexpr u8 kNoResourcesForRole = 0x0B;
inline constexpr u8 kInvalidNameLength = 0x0C;
inline constexpr u8 kUnauthorizedName = 0x0D;
inline constexpr u8 kUnauthorizedGuid = 0x0E;
inline constexpr u8 kInvalidIntegrityCheck = 0x0F;
inline constexpr u8 kIllegalParameter = 0x12;
}  // namespace RakpStatus

/// The target will not use the proposed algorithms.
bool MeansSuiteRefused(u8 status);
/// A lower privilege may be granted.
bool MeansPrivilegeRefused(u8 status);
/// User or password is not accepted.
bool MeansLoginRefused(u8 status);

/// What both sides put into the key exchange.
struct RakpExchange {
  u32 consoleId = 0;
  u32 targetId = 0;
  Random16 consoleRandom{};
  Random16 targetRandom{};
  Random16 targetGuid{};
  u8 role = 0;  ///< privilege asked for and the look-up rule, as sent
  std::string user;
};

struct OpenSessionReply {
  u8 tag = 0;
  u8 status = 0;
  std::optional<u32> consoleId;  ///< refusals may come without
  u32 targetId = 0;
  u8 authentication = 0;
  u8 integrity = 0;
  u8 confidentiality = 0;
};

/// RAKP messages 2 and 4: those of a refusal end after the status or after the session ID.
struct RakpReply {
  u8 tag = 0;
  u8 status = 0;
  std::optional<u32> consoleId;
  Random16 targetRandom{};  ///< of message 2
  Random16 targetGuid{};    ///< of message 2
  Bytes code;
};

Bytes EncodeOpenSessionRequest(u8 tag, Privilege privilege, u32 consoleId, const CipherSuite& suite);
std::optional<OpenSessionReply> DecodeOpenSessionReply(ByteView payload);
Bytes EncodeRakp1(u8 tag, const RakpExchange& exchange);
std::optional<RakpReply> DecodeRakp2(ByteView payload);
/// An empty code goes with a status other than 0.
Bytes EncodeRakp3(u8 tag, u8 status, u32 targetId, ByteView code);
std::optional<RakpReply> DecodeRakp4(ByteView payload);

Secret Rakp2Code(const CipherSuite& suite, ByteView password, const RakpExchange& exchange);
Secret Rakp3Code(const CipherSuite& suite, ByteView password, const RakpExchange& exchange);
/// `key` is the target's BMC key, or the password where it has none.
Secret SessionIntegrityKey(const CipherSuite& suite, ByteView key, const RakpExchange& exchange);
/// Untruncated.
Secret Rakp4Code(const CipherSuite& suite, const Secret& sessionKey, const RakpExchange& exchange);
/// K1 is for integrity, K2 for confidentiality.
Secret DerivedKey(const CipherSuite& suite, const Secret& sessionKey, u8 number);

}  // namespace Kelvar::Ipmi
