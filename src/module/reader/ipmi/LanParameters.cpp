#include "module/reader/ipmi/LanParameters.h"

#include <algorithm>
#include <array>
#include <bit>

#include <arpa/inet.h>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/TypedText.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kIpv4Size = 4;
constexpr std::size_t kIpv6Size = 16;
constexpr std::size_t kMacSize = 6;

bool AllAre(std::span<const u8> data, u8 value) {
  return std::all_of(data.begin(), data.end(), [value](u8 byte) { return byte == value; });
}

/// Longer data are taken too: some targets fill up.
std::span<const u8> Start(std::span<const u8> data, std::size_t size) {
  return data.size() >= size ? data.first(size) : std::span<const u8>();
}

std::string AddressText(int family, std::span<const u8> data) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(family, data.data(), text.data(), text.size()) != nullptr ? text.data() : std::string();
}

bool IsLinkLocal(std::span<const u8> address) {
  return address[0] == 0xFE && (address[1] & 0xC0) == 0x80;
}

const char* Ipv6Origin(std::span<const u8> address, bool dynamic, u8 source) {
  if (!dynamic) {
    return "static";
  }
  if (IsLinkLocal(address)) {
    return "link_local";
  }
  constexpr std::array<const char*, 3> kSources = {"static", "slaac", "dhcpv6"};
  return source < kSources.size() ? kSources[source] : "other";
}

}  // namespace

std::string Ipv4Text(std::span<const u8> data) {
  data = Start(data, kIpv4Size);
  return AllAre(data, 0x00) || AllAre(data, 0xFF) ? std::string() : AddressText(AF_INET, data);
}

std::optional<u32> PrefixLengthOf(std::span<const u8> mask) noexcept {
  u32 bits = 0;
  for (const u8 byte : Start(mask, kIpv4Size)) {
    bits = bits << 8 | byte;
  }
  const auto length = static_cast<u32>(std::countl_one(bits));
  const bool whole = std::popcount(bits) == static_cast<int>(length);
  return length > 0 && whole ? std::optional<u32>(length) : std::nullopt;
}

const char* Ipv4Origin(u8 source) noexcept {
  constexpr std::array<const char*, 5> kSources = {"", "static", "dhcp", "bios", "other"};
  const u8 number = source & 0x0F;
  return number < kSources.size() ? kSources[number] : "";
}

std::string MacText(std::span<const u8> data) {
  data = Start(data, kMacSize);
  if (AllAre(data, 0x00) || AllAre(data, 0xFF)) {
    return {};
  }
  std::string text = HexText(data);
  for (std::size_t at = 2; at < text.size(); at += 3) {
    text.insert(at, 1, ':');
  }
  return text;
}

std::optional<u32> VlanOf(std::span<const u8> data) noexcept {
  Text::ByteReader reader(data);
  const u16 bits = reader.U16();
  const u32 id = bits & 0x0FFF;
  return (bits & 0x8000) != 0 && id != 0 && id != 0x0FFF ? std::optional<u32>(id) : std::nullopt;
}

std::string Ipv6Text(std::span<const u8> data) {
  data = Start(data, kIpv6Size);
  return AllAre(data, 0x00) ? std::string() : AddressText(AF_INET6, data);
}

Ipv6Counts ParseIpv6Status(std::span<const u8> data) noexcept {
  Text::ByteReader reader(data);
  const u8 fixed = reader.U8();
  const u8 dynamic = reader.U8();
  return {fixed, dynamic};
}

std::optional<Model::NetworkAddress> ParseIpv6Address(std::span<const u8> data, bool dynamic) {
  constexpr u8 kActive = 0;
  Text::ByteReader reader(data);
  reader.Skip(1);  // set selector
  const u8 source = reader.U8();
  const auto address = reader.Bytes(kIpv6Size);
  const u8 prefixLength = reader.U8();
  const u8 status = reader.U8();
  const bool enabled = dynamic || (source & 0x80) != 0;
  if (!reader.Ok() || !enabled || status != kActive || AllAre(address, 0x00)) {
    return std::nullopt;
  }
  Model::NetworkAddress record;
  record.address = Ipv6Text(address);
  record.family = "ipv6";
  record.origin = Ipv6Origin(address, dynamic, source & 0x0F);
  if (prefixLength > 0 && prefixLength <= 128) {
    record.prefix_length = prefixLength;
  }
  return record;
}

}  // namespace Kelvar::Reader::Ipmi
