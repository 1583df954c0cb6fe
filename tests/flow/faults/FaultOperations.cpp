#include "flow/faults/FaultOperations.h"

#include <map>
#include <vector>

namespace Kelvar::Test {
namespace {

using Inventory = NodeFirmwareInventory;
using RestEntry = KelvarNfw::ZMCMESSAGELOGDATAREST;
using CimEntry = KelvarNfw::ZMCMESSAGELOGDATA;

/// An operation that fills a list.
template <auto operation, class Record>
Outcome List(Inventory& target) {
  std::vector<Record> list;
  const int result = (target.*operation)(list);
  return {result, list.size()};
}

Outcome CimLog(Inventory& target) {
  std::vector<CimEntry> list;
  const int result = target.GetZMCMessageLogDataCIM(list, 3);
  return {result, list.size()};
}

Outcome Generation(Inventory& target) {
  Inventory::ZMCGENERATIONTYPE generation{};
  const int result = target.GetZMCGenerationType(generation);
  return {result, generation == Inventory::ZMC_GENERATION_2 ? 1U : 0U};
}

Outcome Identity(Inventory& target) {
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  const int result = target.GetNodeFirmwareSystemVPD(vpd);
  return {result, vpd.MachineType[0] != '\0' ? 1U : 0U};
}

Outcome System(Inventory& target) {
  KelvarAgentless::ComputerSystem system;
  const int result = target.GetHardwareInfoComputerSystem(system);
  return {result, system.SerialNumber.empty() ? 0U : 1U};
}

Outcome Firmware(Inventory& target) {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  const int result = target.GetNodeFirmwareBuildID(list);
  std::size_t filled = 0;
  for (const auto& all : list) {
    for (const char* id : {all.BMCBuildID, all.BMCBackUpBuildID, all.BMCPVQBuildID, all.BMCPVQBackUpBuildID,
                           all.uEFIBuildID, all.uEFIBackUpBuildID, all.QDGpBuildID, all.WRBpBuildID, all.DRVWNpBuildID,
                           all.DRVLNpBuildID, all.SorelBuildID}) {
      filled += *id != '\0' ? 1 : 0;
    }
  }
  return {result, filled};
}

}  // namespace

Operation OperationNamed(const std::string& name) {
  static const std::map<std::string, Operation> kOperations{
      {"firmware", Firmware},
      {"generation", Generation},
      {"software", List<&Inventory::GetNFWSoftwareIdentity, KelvarOptions::SoftwareIdentity_>},
      {"identity", Identity},
      {"system", System},
      {"components", List<&Inventory::GetNodeOtherSystemVPD, OtherSystemVPD>},
      {"dns", List<&Inventory::GetZMCDNSSettingData, KelvarNfw::ZMCDNSSETTINGDATA>},
      {"ip", List<&Inventory::GetZMCIPProtocolEndPoint, KelvarNfw::ZMCIPPROTOCOLENDPOINT>},
      {"static-ip", List<&Inventory::GetZMCStaticIPAddress, KelvarNfw::ZMCSTATICIP>},
      {"snmp", List<&Inventory::GetZMCCommunityString, KelvarNfw::ZMCSNMPCOMMUNITYSTRING>},
      {"log", List<&Inventory::GetZMCMessageLogDataRedfish, RestEntry>},
      {"audit-log", List<&Inventory::GetZMCAuditLogDataViaREST, RestEntry>},
      {"platform-log", List<&Inventory::GetZMCPlatformLogDataViaREST, RestEntry>},
      {"active-events", List<&Inventory::GetZMCActiveEventsDataViaREST, RestEntry>},
      {"maintenance-log", List<&Inventory::GetZMCMaintLogDataViaREST, MAINTLOGREDFISHDATA>},
      {"cim-log", CimLog},
      {"cim-audit-log", List<&Inventory::GetZMCAuditLogDataViaCIM, CimEntry>},
      {"cim-platform-log", List<&Inventory::GetZMCPlatformLogDataViaCIM, CimEntry>},
      {"leds", List<&Inventory::GetZMCIndicatorLED, KelvarNfw::INDICATORLEDS>},
      {"sensors", List<&Inventory::GetZMCNumericSensors, KelvarNfw::NUMERICSENSORS>},
  };
  return kOperations.at(name);
}

}  // namespace Kelvar::Test
