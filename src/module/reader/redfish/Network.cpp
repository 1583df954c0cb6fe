#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include <arpa/inet.h>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::NetworkAddress;
using Model::NetworkInterface;

struct WordRow {
  std::string_view told;
  const char* word;
};

constexpr std::array<WordRow, 7> kOrigins = {{
    {"Static", "static"},
    {"DHCP", "dhcp"},
    {"BOOTP", "bios"},
    {"IPv4LinkLocal", "link_local"},
    {"DHCPv6", "dhcpv6"},
    {"LinkLocal", "link_local"},
    {"SLAAC", "slaac"},
}};

constexpr u32 kBitsOfIpv6 = 128;

constexpr std::array<WordRow, 3> kLinkWords = {{{"LinkUp", "up"}, {"LinkDown", "down"}, {"NoLink", "no_link"}}};

template <std::size_t Count>
std::string WordFor(const std::array<WordRow, Count>& rows, std::string_view told, const char* other) {
  const std::string lower = Lower(told);
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const WordRow& one) { return Lower(one.told) == lower; });
  return row != rows.end() ? row->word : told.empty() ? "" : other;
}

/// The bytes of an address; empty for what is none, or the one that means none.
std::string AddressBytes(const std::string& text) {
  for (const auto& [family, size] : {std::pair{AF_INET, 4}, std::pair{AF_INET6, 16}}) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (inet_pton(family, text.c_str(), bytes.data()) == 1) {
      return bytes.find_first_not_of('\0') == std::string::npos ? std::string() : bytes;
    }
  }
  return {};
}

/// The elements of a list; some services write the only one without a list.
std::vector<JsonValue> Listed(JsonValue list) {
  const bool isOne = list.IsObject() || list.String();
  return isOne ? std::vector<JsonValue>{list} : FirstOf(list, kMostDetails);
}

std::string AddressAt(JsonValue json, std::string_view path) {
  const std::string text = TextAt(json, path);
  std::string address = text.substr(0, text.find_first_of("/%"));  // without prefix length and scope
  return AddressBytes(address).empty() ? std::string() : address;
}

std::optional<u32> PrefixOfMask(const std::string& mask) {
  const std::string bytes = AddressBytes(mask);
  if (bytes.size() != 4) {
    return std::nullopt;
  }
  u32 bits = 0;
  for (const char byte : bytes) {
    bits = bits << 8 | static_cast<unsigned char>(byte);
  }
  u32 length = 0;
  while (length < 32 && (bits << length & 0x8000'0000U) != 0) {
    ++length;
  }
  return bits == (length == 0 ? 0 : ~u32{0} << (32 - length)) ? std::optional<u32>(length) : std::nullopt;
}

void TakeAddresses(NetworkInterface& into, JsonValue json) {
  for (const JsonValue one : Listed(json["IPv4Addresses"])) {
    NetworkAddress address;
    address.address = AddressAt(one, "Address");
    address.prefix_length = PrefixOfMask(TextAt(one, "SubnetMask"));
    address.family = "ipv4";
    address.origin = WordFor(kOrigins, TextAt(one, "AddressOrigin"), "other");
    address.gateway = AddressAt(one, "Gateway");
    if (!address.address.empty()) {
      into.addresses.push_back(std::move(address));
    }
  }
  const std::string gateway = AddressAt(json, "IPv6DefaultGateway");
  for (const JsonValue one : Listed(json["IPv6Addresses"])) {
    NetworkAddress address;
    address.address = AddressAt(one, "Address");
    address.prefix_length = CountAt(one, "PrefixLength");
    if (address.prefix_length > kBitsOfIpv6) {
      address.prefix_length.reset();
    }
    address.family = "ipv6";
    address.origin = WordFor(kOrigins, TextAt(one, "AddressOrigin"), "other");
    address.gateway = Lower(address.address).rfind("fe80", 0) == 0 ? "" : gateway;
    if (!address.address.empty()) {
      into.addresses.push_back(std::move(address));
    }
  }
}

/// Whether an address server gives addresses: as told, else by where the addresses come from.
std::optional<bool> UsesDhcp(JsonValue json) {
  const auto told = BoolAt(json, "DHCPv4/DHCPEnabled");
  if (told) {
    return told;
  }
  std::optional<bool> uses;
  for (const JsonValue address : Listed(json["IPv4Addresses"])) {
    const std::string origin = TextAt(address, "AddressOrigin");
    // An address that is still to come has an origin, too; that of one that is not used says nothing.
    if (origin == "DHCP" || (!origin.empty() && !AddressAt(address, "Address").empty())) {
      uses = uses.value_or(false) || origin == "DHCP";
    }
  }
  return uses;
}

std::vector<std::string> NameServersOf(JsonValue json) {
  std::vector<std::string> servers;
  for (const char* const list : {"NameServers", "StaticNameServers"}) {
    for (const JsonValue one : Listed(json[list])) {
      std::string server = CleanText(one.String().value_or(""));
      std::array<unsigned char, 16> bytes{};
      const bool isAddress = inet_pton(AF_INET, server.c_str(), bytes.data()) == 1 ||
                             inet_pton(AF_INET6, server.c_str(), bytes.data()) == 1;
      const bool none = server.empty() || (isAddress && AddressBytes(server).empty());
      if (!none && std::find(servers.begin(), servers.end(), server) == servers.end()) {
        servers.push_back(std::move(server));
      }
    }
    if (!servers.empty()) {
      break;  // those in use; the configured ones are used where a service does not report these
    }
  }
  return servers;
}

std::optional<double> SpeedOf(JsonValue json) {
  constexpr double kUnknownSpeed = 65535;
  const auto speed = PositiveAt(json, "SpeedMbps");
  return speed && *speed != kUnknownSpeed ? speed : std::nullopt;
}

std::optional<u32> VlanOf(JsonValue json) {
  const JsonValue vlan = json["VLAN"].IsObject() ? json["VLAN"] : json;
  return BoolAt(vlan, "VLANEnable").value_or(false) ? CountAt(vlan, "VLANId") : std::nullopt;
}

/// Whether a manager shows it, but as the host's end of the link between the two.
bool IsOfHost(const std::string& id) {
  return Lower(id).find("/hostethernetinterfaces/") != std::string::npos;
}

/// The host's end of that link is an interface of the system, too.
void DropShownTwice(std::vector<NetworkInterface>& interfaces) {
  std::set<std::string> addresses;
  for (const NetworkInterface& interface : interfaces) {
    if (interface.owner == "system" && !IsOfHost(interface.id)) {
      addresses.insert(interface.mac_address);
    }
  }
  const auto isDouble = [&](const NetworkInterface& interface) {
    return IsOfHost(interface.id) && !interface.mac_address.empty() && addresses.count(interface.mac_address) != 0;
  };
  interfaces.erase(std::remove_if(interfaces.begin(), interfaces.end(), isDouble), interfaces.end());
}

}  // namespace

void TakeEthernet(Collected& to, const Node& node, JsonValue json) {
  NetworkInterface interface;
  interface.owner = Lower(node.id).rfind("managers/", 0) == 0 && !IsOfHost(node.id) ? "manager" : "system";
  interface.id = node.id;
  interface.name = TextAt(json, "Name");
  for (const char* const property : {"MACAddress", "PermanentMACAddress", "MacAddress"}) {  // the last one is former
    FillOne(interface.mac_address, MacAddress(TextAt(json, property)));
  }
  interface.link = WordFor(kLinkWords, TextAt(json, "LinkStatus"), "");
  interface.speed_mbps = SpeedOf(json);
  interface.vlan = VlanOf(json);
  interface.host_name = TextAt(json, "HostName");
  interface.fqdn = TextAt(json, "FQDN");
  TakeAddresses(interface, json);
  interface.dhcp = UsesDhcp(json);
  interface.name_servers = NameServersOf(json);
  to.inventory->network_interfaces.push_back(std::move(interface));
}

void TakeVlan(Collected& to, const Node& node, JsonValue json) {
  const auto vlan = VlanOf(json);
  if (vlan) {
    to.vlans[Lower(Above(node.above))].insert(*vlan);
  }
}

void TakeNetworkProtocol(Collected& to, const Node& node, JsonValue json) {
  const std::string hostName = TextAt(json, "HostName");
  if (!hostName.empty()) {
    to.hostNames[Lower(Above(node.id))] = hostName;
  }
  auto& services = to.inventory->network_services;
  for (const auto& [name, protocol] : json.Members()) {
    if (!protocol.IsObject() || name == "Oem" || (!protocol["ProtocolEnabled"] && !protocol["Port"])) {
      continue;
    }
    Model::NetworkService service;
    service.name = Lower(name);
    service.enabled = BoolAt(protocol, "ProtocolEnabled");
    service.port = CountAt(protocol, "Port");
    const bool known = std::any_of(services.begin(), services.end(), [&](const Model::NetworkService& one) {
      return one.name == service.name && one.enabled == service.enabled && one.port == service.port;
    });
    if (!known) {
      services.push_back(std::move(service));
    }
  }
}

void FinishNetwork(Collected& from) {
  auto& interfaces = from.inventory->network_interfaces;
  DropShownTwice(interfaces);
  for (NetworkInterface& interface : interfaces) {
    const auto vlans = from.vlans.find(Lower(interface.id));
    if (!interface.vlan && vlans != from.vlans.end() && vlans->second.size() == 1) {
      interface.vlan = *vlans->second.begin();
    }
  }
  std::stable_sort(
      interfaces.begin(), interfaces.end(),
      [](const NetworkInterface& left, const NetworkInterface& right) { return NaturalLess(left.id, right.id); });
  auto& services = from.inventory->network_services;
  std::sort(services.begin(), services.end(), [](const auto& left, const auto& right) {
    return std::tie(left.name, left.enabled, left.port) < std::tie(right.name, right.enabled, right.port);
  });
}

}  // namespace Kelvar::Reader
