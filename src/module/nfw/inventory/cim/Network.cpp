#include "common/log/LogMacros.h"
#include "common/text/NumberText.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/nfw/inventory/cim/RecordAppender.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using Pegasus::CIMInstance;
using Pegasus::CIMValue;

namespace {

using Dns = KelvarNfw::ZMCDNSSETTINGDATA;
using EndPoint = KelvarNfw::ZMCIPPROTOCOLENDPOINT;
using StaticIP = KelvarNfw::ZMCSTATICIP;
using Community = KelvarNfw::ZMCSNMPCOMMUNITYSTRING;

/// Values of ProtocolIFType.
constexpr int kIPv4 = 4096;
constexpr int kIPv6 = 4097;

void ReadDnsServers(const CIMValue& value, Dns& record) {
  const Pegasus::Array<Pegasus::String> addresses = ReadStrings(value);
  for (Pegasus::Uint32 i = 0; i < addresses.size(); ++i) {
    record.DNSServerAddresses += (i == 0 ? "" : ",") + ToText(addresses[i]);
  }
}

constexpr CIMField<Dns> kDnsFields[] = {
    {"ElementName", kText<&Dns::ElementName>},
    {"DNSServerAddresses", {ReadDnsServers, &Dns::DNSServerAddresses}, "No DNSServerAddress property"},
    {"RequestedHostname", kText<&Dns::RequestedHostname>, "No RequestHostName property"},
};

constexpr CIMField<EndPoint> kEndPointFields[] = {
    {"ElementName", kText<&EndPoint::ElementName>},
    {"AddressOrigin", kText<&EndPoint::AddressOrigin>},
};

constexpr CIMField<EndPoint> kIPv4Fields[] = {{"IPv4Address", kText<&EndPoint::IPAddress>}};
constexpr CIMField<EndPoint> kIPv6Fields[] = {{"IPv6Address", kText<&EndPoint::IPAddress>}};

constexpr CIMField<StaticIP> kStaticFields[] = {
    {"ElementName", kText<&StaticIP::ElementName>},     {"GatewayIPv4Address", kText<&StaticIP::GatewayIPv4Address>},
    {"IPv4Address", kText<&StaticIP::IPv4Address>},     {"SubnetMask", kText<&StaticIP::SubnetMask>},
    {"AddressOrigin", kText<&StaticIP::AddressOrigin>},
};

constexpr CIMField<StaticIP> kExtendedStaticFields[] = {
    {"ElementName", kText<&StaticIP::ElementName>},
    {"GatewayAddresses", kText<&StaticIP::GatewayIPv6Address>, "No GatewayIPv6Address property"},
    {"IPAddresses", kText<&StaticIP::IPv6Address>, "No IPv6Address property"},
    {"SubnetMasks", kText<&StaticIP::SubnetMask>, "No SubnetMask property"},
    {"AddressOrigin", kText<&StaticIP::AddressOrigin>},
};

constexpr CIMField<Community> kCommunityFields[] = {
    {"ElementName", kText<&Community::ElementName>},
};

constexpr auto kEndPointTexts = TextsOf(kEndPointFields, kIPv4Fields, kIPv6Fields);
constexpr auto kStaticTexts = TextsOf(kStaticFields, kExtendedStaticFields);
constexpr auto kCommunityTexts = TextsOf(kCommunityFields);

void ReadEndPoint(const CIMInstance& instance, EndPoint& record) {
  ReadCIMFields(instance, kEndPointFields, record);
  const auto type = FindCIMText(instance, "ProtocolIFType");
  const int number = type ? Text::ParseClampedInt(*type) : 0;
  if (number == kIPv4) {
    ReadCIMFields(instance, kIPv4Fields, record);
  } else if (number == kIPv6) {
    ReadCIMFields(instance, kIPv6Fields, record);
  }
}

}  // namespace

Code NodeFirmwareInventoryImpCIM::GetZMCDNSSettingData(std::vector<Dns>& list) {
  const auto take = [&](const CIMInstance& instance) {
    Dns record;
    record.ZMCIndex = info.ZMCIndex;
    ReadCIMFields(instance, kDnsFields, record);
    list.push_back(std::move(record));
    KELVAR_LOG(4) << "Push back BMCDNS instance to vector";
  };
  return Walk("GetZMCDNSSettingData", "CIM_DNSSettingData", take, NodeFirmwareInventory::INVENTORY_SUCCESS);
}

Code NodeFirmwareInventoryImpCIM::GetZMCIPProtocolEndPoint(std::vector<EndPoint>& list) {
  list.clear();
  EndPoint record;
  record.ZMCIndex = info.ZMCIndex;
  RecordAppender<EndPoint> append(list, kEndPointTexts.View());
  const auto take = [&](const CIMInstance& instance) {
    ReadEndPoint(instance, record);
    append(record);
    KELVAR_LOG(4) << "Push back BMCIP instance to vector";
  };
  return Walk("GetZMCIPProtocolEndPoint", "CIM_IPProtocolEndpoint", take);
}

Code NodeFirmwareInventoryImpCIM::GetZMCStaticIPAddress(std::vector<StaticIP>& list) {
  list.clear();
  const auto body = [&](Code& code) {
    const Instances plain = Enumerate("CIM_StaticIPAssignmentSettingData");
    if (plain.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      LogNoInstance("CIM_StaticIPAssignmentSettingData");
      return;
    }
    StaticIP record;
    record.ZMCIndex = info.ZMCIndex;
    RecordAppender<StaticIP> append(list, kStaticTexts.View());
    for (Pegasus::Uint32 i = 0; i < plain.size(); ++i) {
      ReadCIMFields(plain[i], kStaticFields, record);
      append(record);
      KELVAR_LOG(4) << "Push back BMCIPs instance to vector";
    }
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
    const Instances extended = Enumerate("CIM_ExtendedStaticIPAssignmentSettingData");
    if (extended.size() == 0) {
      LogNoInstance("CIM_ExtendedStaticIPAssignmentSettingData");
    }
    record.GatewayIPv4Address.clear();
    record.IPv4Address.clear();
    for (Pegasus::Uint32 i = 0; i < extended.size(); ++i) {
      ReadCIMFields(extended[i], kExtendedStaticFields, record);
      append(record);
    }
  };
  return Run("GetZMCStaticIPAddress", body);
}

Code NodeFirmwareInventoryImpCIM::GetZMCCommunityString(std::vector<Community>& list) {
  list.clear();
  Community record;
  record.ZMCIndex = info.ZMCIndex;
  RecordAppender<Community> append(list, kCommunityTexts.View());
  const auto take = [&](const CIMInstance& instance) {
    ReadCIMFields(instance, kCommunityFields, record);
    append(record);
    KELVAR_LOG(4) << "Push back BMCCString instance to vector";
  };
  return Walk("GetZMCCommunityString", "CIM_SNMPCommunityString", take);
}

}  // namespace Kelvar
