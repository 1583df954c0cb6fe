#pragma once

#include <cstddef>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/NodeFirmwareInventory.h>

namespace Kelvar::Test {

/// What a fixed operation gave its caller. Of a single record `records` tells whether it was filled, of build IDs how
/// many there are.
struct Outcome {
  int result = 0;
  std::size_t records = 0;
  bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* stream) {
  *stream << "result " << outcome.result << ", records " << outcome.records;
}

/// A fixed operation of the facade: all tests and fuzz targets that go through every one of them share this table.
struct FixedOperation {
  const char* name;       ///< in the catalogues of faults
  const char* forwarded;  ///< the object that the facade asks, and its function
  Outcome (*call)(NodeFirmwareInventory& target);
  int absent = 0;  ///< the result of a facade without that object

  bool AsksBackend() const { return std::string_view(forwarded).starts_with("primary."); }
  std::string Function() const { return std::string(forwarded).substr(std::string_view(forwarded).find('.') + 1); }
};

namespace Fixed {

using Inventory = NodeFirmwareInventory;

/// The record of an operation's only argument, or the argument itself.
template <class Argument>
Argument ArgumentOf(Inventory::INVENTORYRETURNCODE (Inventory::*)(Argument&));

template <auto operation>
Outcome List(Inventory& target) {
  decltype(ArgumentOf(operation)) list;
  const int result = (target.*operation)(list);
  return {result, list.size()};
}

inline Outcome CimLog(Inventory& target) {
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> list;
  const int result = target.GetZMCMessageLogDataCIM(list, 3);
  return {result, list.size()};
}

inline Outcome Generation(Inventory& target) {
  Inventory::ZMCGENERATIONTYPE generation{};
  const int result = target.GetZMCGenerationType(generation);
  return {result, generation == Inventory::ZMC_GENERATION_2 ? 1U : 0U};
}

inline Outcome Identity(Inventory& target) {
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  const int result = target.GetNodeFirmwareSystemVPD(vpd);
  return {result, vpd.MachineType[0] != '\0' ? 1U : 0U};
}

inline Outcome System(Inventory& target) {
  KelvarAgentless::ComputerSystem system;
  const int result = target.GetHardwareInfoComputerSystem(system);
  return {result, system.SerialNumber.empty() ? 0U : 1U};
}

inline Outcome Firmware(Inventory& target) {
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

}  // namespace Fixed

// Corpora choose an operation by its place: add at the end.
inline constexpr FixedOperation kFixedOperations[] = {
    {"firmware", "primary.GetNodeFirmwareBuildID", Fixed::Firmware},
    {"components", "primary.GetNodeOtherSystemVPD", Fixed::List<&NodeFirmwareInventory::GetNodeOtherSystemVPD>, 15},
    {"dns", "primary.GetZMCDNSSettingData", Fixed::List<&NodeFirmwareInventory::GetZMCDNSSettingData>},
    {"ip", "primary.GetZMCIPProtocolEndPoint", Fixed::List<&NodeFirmwareInventory::GetZMCIPProtocolEndPoint>},
    {"static-ip", "primary.GetZMCStaticIPAddress", Fixed::List<&NodeFirmwareInventory::GetZMCStaticIPAddress>},
    {"snmp", "primary.GetZMCCommunityString", Fixed::List<&NodeFirmwareInventory::GetZMCCommunityString>},
    {"leds", "primary.GetZMCIndicatorLED", Fixed::List<&NodeFirmwareInventory::GetZMCIndicatorLED>},
    {"sensors", "primary.GetZMCNumericSensors", Fixed::List<&NodeFirmwareInventory::GetZMCNumericSensors>},
    {"cim-log", "primary.GetZMCMessageLogData CIM", Fixed::CimLog},
    {"generation", "primary.GetZMCGenerationType", Fixed::Generation},
    {"identity", "primary.GetNodeFirmwareSystemVPD", Fixed::Identity},
    {"system", "primary.GetHardwareInfoComputerSystem", Fixed::System},
    {"software", "primary.GetNFWSoftwareIdentity", Fixed::List<&NodeFirmwareInventory::GetNFWSoftwareIdentity>},
    {"log", "primary.GetZMCMessageLogData REST", Fixed::List<&NodeFirmwareInventory::GetZMCMessageLogDataRedfish>},
    {"cim-audit-log", "zmcApp.GetZMCAuditEventLog", Fixed::List<&NodeFirmwareInventory::GetZMCAuditLogDataViaCIM>},
    {"cim-platform-log", "zmcApp.GetZMCPlatformEventLog",
     Fixed::List<&NodeFirmwareInventory::GetZMCPlatformLogDataViaCIM>},
    {"audit-log", "logManager.GetAuditLogForInventory", Fixed::List<&NodeFirmwareInventory::GetZMCAuditLogDataViaREST>},
    {"platform-log", "logManager.GetPlatformLogForInventory",
     Fixed::List<&NodeFirmwareInventory::GetZMCPlatformLogDataViaREST>},
    {"active-events", "logManager.GetActiveEventsForInventory",
     Fixed::List<&NodeFirmwareInventory::GetZMCActiveEventsDataViaREST>},
    {"maintenance-log", "logManager.GetMaintenanceLog", Fixed::List<&NodeFirmwareInventory::GetZMCMaintLogDataViaREST>},
};

/// Throws std::out_of_range for another name.
inline const FixedOperation& FixedOperationNamed(std::string_view name) {
  for (const FixedOperation& operation : kFixedOperations) {
    if (name == operation.name) {
      return operation;
    }
  }
  throw std::out_of_range("no fixed operation " + std::string(name));
}

}  // namespace Kelvar::Test
