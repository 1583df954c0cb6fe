#include <span>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/CipherSuites.h"
#include "module/reader/ipmi/Dcmi.h"
#include "module/reader/ipmi/LanParameters.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kLastChannel = 0x0B;
constexpr u8 kUsualLanChannel = 1;
constexpr u8 kMediumLan = 0x04;
constexpr u8 kMediumOtherLan = 0x06;
constexpr u8 kMostSets = 16;

/// Reads the parameters of one LAN channel.
class LanChannel {
 public:
  LanChannel(ReadingContext& context, FamilyProgress& progress, u8 channel)
      : context_(context), progress_(progress), channel_(channel) {}

  Model::NetworkInterface Read() {
    interface_.owner = "manager";
    interface_.id = "channel-" + std::to_string(channel_);
    interface_.name = "LAN channel " + std::to_string(channel_);
    interface_.mac_address = MacText(Get(LanParameter::MacAddress));
    interface_.vlan = VlanOf(Get(LanParameter::Vlan));
    ReadIpv4();
    if (!IsIpv6Off()) {
      ReadIpv6();
    }
    return std::move(interface_);
  }

  /// The port of IPMI messages; nothing when the target does not tell.
  std::optional<u32> Port() {
    const std::vector<u8> data = Get(LanParameter::PrimaryRmcpPort);
    Text::ByteReader reader(data);
    const u16 port = reader.U16();
    return reader.Ok() && port != 0 ? std::optional<u32>(port) : std::nullopt;
  }

 private:
  /// Data without the parameter's revision; empty when the target does not have it.
  std::vector<u8> Get(LanParameter parameter, u8 set = 0) {
    CommandReply reply =
        context_.commands.Run(kNetFnTransport, kGetLanParameters, {channel_, static_cast<u8>(parameter), set, 0});
    if (!reply.Ok()) {
      if (!reply.IsAbsent()) {
        progress_.Miss(reply, "LAN parameter " + std::to_string(static_cast<unsigned>(parameter)) + " of channel " +
                                  std::to_string(channel_));
      }
      return {};
    }
    if (!reply.data.empty()) {
      reply.data.erase(reply.data.begin());
    }
    return std::move(reply.data);
  }

  void ReadIpv4() {
    const std::vector<u8> source = Get(LanParameter::Ipv4Source);
    const std::string origin = source.empty() ? "" : Ipv4Origin(source[0]);
    if (!origin.empty()) {
      interface_.dhcp = origin == "dhcp";
    }
    Model::NetworkAddress address;
    address.address = Ipv4Text(Get(LanParameter::Ipv4Address));
    if (address.address.empty()) {
      return;
    }
    address.family = "ipv4";
    address.origin = origin;
    address.prefix_length = PrefixLengthOf(Get(LanParameter::SubnetMask));
    address.gateway = Ipv4Text(Get(LanParameter::DefaultGateway));
    interface_.addresses.push_back(std::move(address));
  }

  bool IsIpv6Off() {
    constexpr u8 kIpv4Only = 0;
    const std::vector<u8> enables = Get(LanParameter::Ipv6Enables);
    return !enables.empty() && enables[0] == kIpv4Only;
  }

  void ReadIpv6() {
    const Ipv6Counts counts = ParseIpv6Status(Get(LanParameter::Ipv6Status));
    const std::size_t before = interface_.addresses.size();
    ReadIpv6Sets(LanParameter::Ipv6StaticAddress, counts.fixed);
    if (interface_.addresses.size() > before) {
      const std::vector<u8> control = Get(LanParameter::Ipv6RouterControl);
      constexpr u8 kStaticRouter = 0x01;
      const bool fixed = !control.empty() && (control[0] & kStaticRouter) != 0;
      SetGateway(before, fixed ? Ipv6Text(Get(LanParameter::Ipv6StaticRouter)) : std::string());
    }
    const std::size_t dynamic = interface_.addresses.size();
    ReadIpv6Sets(LanParameter::Ipv6DynamicAddress, counts.dynamic);
    if (interface_.addresses.size() > dynamic) {
      const std::vector<u8> routers = Get(LanParameter::Ipv6DynamicRouterCount);
      if (!routers.empty() && routers[0] > 0) {
        const std::vector<u8> router = Get(LanParameter::Ipv6DynamicRouter);
        SetGateway(dynamic, router.empty() ? std::string() : Ipv6Text(std::span(router).subspan(1)));
      }
    }
  }

  void ReadIpv6Sets(LanParameter parameter, u8 count) {
    for (u8 set = 0; set < std::min(count, kMostSets); ++set) {
      const auto data = Get(parameter, set);
      if (auto address = ParseIpv6Address(data, parameter == LanParameter::Ipv6DynamicAddress)) {
        interface_.addresses.push_back(std::move(*address));
      }
    }
  }

  /// A link-local address has no gateway.
  void SetGateway(std::size_t first, const std::string& gateway) {
    for (std::size_t at = first; at < interface_.addresses.size(); ++at) {
      if (interface_.addresses[at].origin != "link_local") {
        interface_.addresses[at].gateway = gateway;
      }
    }
  }

  ReadingContext& context_;
  FamilyProgress& progress_;
  u8 channel_;
  Model::NetworkInterface interface_;
};

/// The channels whose medium is a LAN; the usual one when the target tells no medium at all.
std::vector<u8> LanChannels(ReadingContext& context, FamilyProgress& progress) {
  std::vector<u8> channels;
  bool told = false;
  for (u8 channel = 1; channel <= kLastChannel; ++channel) {
    const CommandReply reply = context.commands.Run(kNetFnApplication, kGetChannelInfo, {channel});
    if (!reply.Ok() && !reply.IsAbsent()) {
      progress.Miss(reply, "channel " + std::to_string(channel));
    }
    if (reply.IsUnsent()) {
      return channels;
    }
    if (!told && reply.outcome == Outcome::Denied) {
      break;
    }
    told = told || reply.Ok();
    Text::ByteReader reader(reply.data);
    reader.Skip(1);  // channel number
    const u8 medium = reader.U8() & 0x7F;
    if (reply.Ok() && (medium == kMediumLan || medium == kMediumOtherLan)) {
      channels.push_back(channel);
    }
  }
  return told ? channels : std::vector<u8>{kUsualLanChannel};
}

void ReadChannel(ReadingContext& context, FamilyProgress& progress, u8 channel) {
  LanChannel lan(context, progress, channel);
  Model::NetworkInterface interface = lan.Read();
  // A channel without parameters is none that a cable could be in.
  if (!interface.mac_address.empty() || !interface.addresses.empty()) {
    interface.host_name = ControllerName(context, progress);
    context.inventory.network_interfaces.push_back(std::move(interface));
  }
  auto& services = context.inventory.network_services;
  if (services.empty()) {
    const auto port = lan.Port();
    auto suites = ReadCipherSuites(context, channel, progress);
    if (port || !suites.empty()) {
      services.push_back({"ipmi", true, port, std::move(suites)});
    }
  }
}

}  // namespace

void ReadNetwork(ReadingContext& context) {
  FamilyProgress progress("network");
  for (const u8 channel : LanChannels(context, progress)) {
    ReadChannel(context, progress, channel);
  }
  context.inventory.ResultOf(Model::Family::Network) =
      progress.Result(!context.inventory.network_interfaces.empty() || !context.inventory.network_services.empty());
}

}  // namespace Kelvar::Reader::Ipmi
