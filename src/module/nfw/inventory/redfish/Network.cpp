#include <array>
#include <string>

#include "common/json/FieldTable.h"
#include "module/nfw/inventory/redfish/Frame.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarNfw::ZMCDNSSETTINGDATA;
using KelvarNfw::ZMCIPPROTOCOLENDPOINT;
using KelvarNfw::ZMCSNMPCOMMUNITYSTRING;
using KelvarNfw::ZMCSTATICIP;

namespace {

constexpr const char* kNic = "/redfish/v1/Managers/1/EthernetInterfaces/NIC";
constexpr const char* kToHost = "/redfish/v1/Managers/1/EthernetInterfaces/ToHost";
constexpr const char* kDns = "/redfish/v1/Managers/1/NetworkProtocol/Oem/Tavrik/DNS";
constexpr const char* kSnmp = "/redfish/v1/Managers/1/NetworkProtocol/Oem/Tavrik/SNMP";

constexpr std::array<const char*, 6> kDnsKeys = {"IPv4Address1", "IPv4Address2", "IPv4Address3",
                                                 "IPv6Address1", "IPv6Address2", "IPv6Address3"};

constexpr std::array<TreeField<ZMCIPPROTOCOLENDPOINT>, 2> kEndPointFields = {{
    {"Address", &ZMCIPPROTOCOLENDPOINT::IPAddress},
    {"AddressOrigin", &ZMCIPPROTOCOLENDPOINT::AddressOrigin},
}};

constexpr std::array<TreeField<ZMCSTATICIP>, 4> kStaticIPv4Fields = {{
    {"Address", &ZMCSTATICIP::IPv4Address},
    {"AddressOrigin", &ZMCSTATICIP::AddressOrigin},
    {"Gateway", &ZMCSTATICIP::GatewayIPv4Address},
    {"SubnetMask", &ZMCSTATICIP::SubnetMask},
}};

/// A resource to read, and what the log says when that fails.
struct Resource {
  const char* path;
  const char* treeError;
  const char* otherError;
};

constexpr Resource kHostName = {kNic, "Failed to read rest_url_host overview info with error is: ",
                                "Failed to read rest_url_host overview info with unknown error."};
constexpr Resource kDnsServers = {kDns, "Failed to read url_dns overview info with error is: ",
                                  "Failed to read url_dns overview info with unknown error."};
constexpr Resource kNicAddresses = {kNic, "Failed to read url_nic overview info with error is: ",
                                    "Failed to read url_nic overview info with unknown error."};
constexpr Resource kToHostAddresses = {kToHost, "Failed to read url_host overview info with error is: ",
                                       "Failed to read url_host overview info with unknown error."};
constexpr Resource kCommunity = {kSnmp, "Failed to read url_snmp overview info with error is: ",
                                 "Failed to read url_snmp overview info with unknown error."};

/// Fetches the resource and hands it to `read`. Returns what ended that; 0 when nothing did.
Code ReadResource(const RedfishService& service, const Resource& resource,
                  const std::function<void(const JsonNode&)>& read) {
  Code code{};
  const auto response = service.FetchOrLog(resource.path, code);
  if (!response) {
    return code;
  }
  const bool done = ReadGuarded(resource.path, resource.treeError, resource.otherError,
                                [&] { read(JsonTree(response->body).Root()); });
  return done ? NodeFirmwareInventory::INVENTORY_SUCCESS : NodeFirmwareInventory::INVENTORY_REST_FAILED;
}

/// Reads the resources in order until one fails.
Code ReadInTurn(const RedfishService& service, const Resource& first,
                const std::function<void(const JsonNode&)>& readFirst, const Resource& second,
                const std::function<void(const JsonNode&)>& readSecond) {
  const Code code = ReadResource(service, first, readFirst);
  return code != NodeFirmwareInventory::INVENTORY_SUCCESS ? code : ReadResource(service, second, readSecond);
}

/// Builds the rows of static addresses from one working record, which keeps its texts from row to row.
class StaticAddressRows {
 public:
  StaticAddressRows(std::vector<ZMCSTATICIP>& list, std::function<std::string(u32)> toText)
      : list_(list), toText_(std::move(toText)) {}

  void AppendIPv4(const JsonNode& addresses) {
    for (const JsonNode& address : addresses.Children()) {
      LoadFields(address, kStaticIPv4Fields, record_);
      Append();
    }
  }

  /// An address makes a row with each gateway: the first with both, the others with the gateway alone.
  void AppendIPv6(const JsonNode& addresses, const JsonNode& gateways) {
    record_.IPv4Address.clear();
    record_.GatewayIPv4Address.clear();
    record_.SubnetMask.clear();
    for (const JsonNode& address : addresses.Children()) {
      record_.IPv6Address = address.Text("Address", kUnknown);
      record_.AddressOrigin = "Static";
      for (const JsonNode& gateway : gateways.Children()) {
        record_.GatewayIPv6Address = gateway.Text("Address", kUnknown);
        Append();
        ClearIPv6();
      }
    }
    ClearIPv6();
  }

 private:
  void Append() {
    record_.ElementName = "Static IP Assignment Setting Data " + toText_(number_++);
    list_.push_back(record_);
  }

  void ClearIPv6() {
    record_.IPv6Address.clear();
    record_.GatewayIPv6Address.clear();
  }

  std::vector<ZMCSTATICIP>& list_;
  const std::function<std::string(u32)> toText_;
  ZMCSTATICIP record_;
  u32 number_ = 1;
};

}  // namespace

Code NodeFirmwareInventoryImpRedfish::GetZMCDNSSettingData(std::vector<ZMCDNSSETTINGDATA>& list) {
  return RunRedfishOperation(Frame(), "GetZMCDNSSettingData", [&](Code& code) {
    list.clear();
    std::string hostName;
    const auto readHostName = [&](const JsonNode& nic) { hostName = nic.Text("FQDN", kUnknown); };
    const auto readServers = [&](const JsonNode& dns) {
      for (const char* key : kDnsKeys) {
        ZMCDNSSETTINGDATA record;
        record.DNSServerAddresses = dns.Text(key, kUnknown);
        record.ElementName = std::string("DNS Setting for ") + key;
        record.RequestedHostname = hostName;
        list.push_back(std::move(record));
      }
    };
    code = ReadInTurn(Service(), kHostName, readHostName, kDnsServers, readServers);
  });
}

Code NodeFirmwareInventoryImpRedfish::GetZMCIPProtocolEndPoint(std::vector<ZMCIPPROTOCOLENDPOINT>& list) {
  return RunRedfishOperation(Frame(), "GetZMCIPProtocolEndPoint", [&](Code& code) {
    list.clear();
    u32 number = 1;
    const auto append = [&](const JsonNode& addresses) {
      for (const JsonNode& address : addresses.Children()) {
        ZMCIPPROTOCOLENDPOINT record;
        LoadFields(address, kEndPointFields, record);
        record.ElementName = "IP Protocol Endpoint " + toString(number++);
        list.push_back(std::move(record));
      }
    };
    const auto read = [&](const JsonNode& interface) {
      const JsonNode version4 = interface.Child("IPv4Addresses");
      const JsonNode version6 = interface.Child("IPv6Addresses");
      append(version4);
      append(version6);
    };
    code = ReadInTurn(Service(), kNicAddresses, read, kToHostAddresses, read);
  });
}

Code NodeFirmwareInventoryImpRedfish::GetZMCStaticIPAddress(std::vector<ZMCSTATICIP>& list) {
  return RunRedfishOperation(Frame(), "GetZMCStaticIPAddress", [&](Code& code) {
    list.clear();
    StaticAddressRows rows(list, [this](u32 number) { return toString(number); });
    const auto readNic = [&](const JsonNode& nic) {
      const JsonNode version4 = nic.Child("IPv4StaticAddresses");
      const JsonNode version6 = nic.Child("IPv6StaticAddresses");
      const JsonNode gateways = nic.Child("IPv6StaticDefaultGateways");
      rows.AppendIPv4(version4);
      rows.AppendIPv6(version6, gateways);
    };
    const auto readToHost = [&](const JsonNode& toHost) { rows.AppendIPv4(toHost.Child("IPv4StaticAddresses")); };
    code = ReadInTurn(Service(), kNicAddresses, readNic, kToHostAddresses, readToHost);
  });
}

Code NodeFirmwareInventoryImpRedfish::GetZMCCommunityString(std::vector<ZMCSNMPCOMMUNITYSTRING>& list) {
  return RunRedfishOperation(Frame(), "GetZMCCommunityString", [&](Code& code) {
    list.clear();
    code = ReadResource(Service(), kCommunity, [&](const JsonNode& snmp) {
      ZMCSNMPCOMMUNITYSTRING record;
      record.ElementName = snmp.Text("Name", kUnknown);
      list.push_back(std::move(record));
    });
  });
}

}  // namespace Kelvar
