#pragma once

#include <optional>
#include <span>
#include <string>

#include <kelvar/Inventory.h>

namespace Kelvar::Reader::Ipmi {

/// Numbers of LAN configuration parameters.
enum class LanParameter : u8 {
  Ipv4Address = 3,
  Ipv4Source = 4,
  MacAddress = 5,
  SubnetMask = 6,
  PrimaryRmcpPort = 8,
  DefaultGateway = 12,
  Vlan = 20,
  Ipv6Enables = 51,
  Ipv6Status = 55,
  Ipv6StaticAddress = 56,
  Ipv6DynamicAddress = 59,
  Ipv6RouterControl = 64,
  Ipv6StaticRouter = 65,
  Ipv6DynamicRouterCount = 73,
  Ipv6DynamicRouter = 74,
};

/// "192.0.2.7"; empty for another length, for 0.0.0.0 and for 255.255.255.255.
std::string Ipv4Text(std::span<const u8> data);
/// Nothing for a mask that is zero or has holes.
std::optional<u32> PrefixLengthOf(std::span<const u8> mask) noexcept;
/// The model's word for an address source: "static", "dhcp", "bios" or "other"; empty for none.
const char* Ipv4Origin(u8 source) noexcept;
/// In lower case with colons; empty for another length than 6, for all zeros and all ones.
std::string MacText(std::span<const u8> data);
/// The identifier, when it is on and is one (1 to 4094).
std::optional<u32> VlanOf(std::span<const u8> data) noexcept;

/// "2001:db8::7"; empty for another length than 16 and for "::".
std::string Ipv6Text(std::span<const u8> data);
/// How many sets of static and of dynamic addresses there are.
struct Ipv6Counts {
  u8 fixed = 0;
  u8 dynamic = 0;
};
Ipv6Counts ParseIpv6Status(std::span<const u8> data) noexcept;
/// A set of parameter 56 or 59; nothing for one that is off, not active, or has no address.
std::optional<Model::NetworkAddress> ParseIpv6Address(std::span<const u8> data, bool dynamic);

}  // namespace Kelvar::Reader::Ipmi
