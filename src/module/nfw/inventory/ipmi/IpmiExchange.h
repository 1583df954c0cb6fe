#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <kelvar/Diagnostics.h>
#include <kelvar/NodeFirmwareInventory.h>

#include "transport/ipmi/IpmiClientInterface.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar {

/// Network functions in use.
inline constexpr u8 kNetFnOem = 0x3A;
inline constexpr u8 kNetFnOemAMD = 0x3C;

/// Commands in use.
inline constexpr u8 kReadVPD = 0x0B;           ///< OEM: two location bytes, 0x10, count
inline constexpr u8 kQueryBuildInfo = 0x50;    ///< OEM
inline constexpr u8 kQueryGeneration = 0xC1;   ///< OEM
inline constexpr u8 kQueryPath = 0xC4;         ///< OEM
inline constexpr u8 kQueryFirmwareAMD = 0x40;  ///< OEM, AMD platforms

/// Characters of BCD plus, by nibble.
inline constexpr std::string_view kBCDPlus = "0123456789 -.:,_";
static_assert(kBCDPlus.size() == 16);

/// How one command ended.
struct IpmiReply {
  int sent = -1;
  u8 completionCode = 0xFF;
  std::vector<u8> data;

  bool Ok() const noexcept { return sent == 0 && completionCode == 0; }
};

/// Performs one command. Lets the transport's exceptions pass.
IpmiReply SendCommand(IpmiClientInterface& client, u8 netFn, u8 command, std::vector<u8> data = {});

/// The result that a completion code stands for.
NodeFirmwareInventory::INVENTORYRETURNCODE CodeOfCompletion(u8 completionCode) noexcept;

void LogFailedCommand(const IpmiReply& reply);
void LogShortReply(std::size_t expected, std::size_t actual);

/// For the diagnostics: what a failed command would have returned is missing from the result.
void RecordMissing(std::string_view what, const IpmiReply& reply, GapKind kind = GapKind::Failure);
/// The same for a reply that is too short or malformed.
void RecordUnusable(std::string_view what, std::string_view why = "the response is too short");

}  // namespace Kelvar
