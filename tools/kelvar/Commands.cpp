#include "tools/kelvar/Commands.h"

#include <algorithm>

#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

namespace {

using Inventory = NodeFirmwareInventory;
using Result = Inventory::INVENTORYRETURNCODE;

template <typename R>
Outcome ReadList(Inventory& inventory, Result (Inventory::*operation)(std::vector<R>&)) {
  std::vector<R> list;
  Outcome outcome{(inventory.*operation)(list), {}};
  for (const R& record : list) {
    outcome.records.push_back(RecordOf(record));
  }
  return outcome;
}

template <typename R>
Outcome ReadOne(Inventory& inventory, Result (Inventory::*operation)(R&)) {
  R record{};
  const Result result = (inventory.*operation)(record);
  Record fields = RecordOf(record);
  if (result != Inventory::INVENTORY_SUCCESS && !HoldsAnything(fields)) {
    return {result, {}, true};
  }
  return {result, {std::move(fields)}, true};
}

Outcome ReadGeneration(const Session& session) {
  Inventory::ZMCGENERATIONTYPE generation = Inventory::ZMC_GENERATION_1;
  const Result result = session.inventory.GetZMCGenerationType(generation);
  if (result != Inventory::INVENTORY_SUCCESS) {
    return {result, {}, true};
  }
  return {result, {RecordOf(generation)}, true};
}

Outcome ReadCimLog(const Session& session) {
  constexpr int commonEventIds = 3;
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> list;
  Outcome outcome{session.inventory.GetZMCMessageLogDataCIM(list, session.commonEventId ? commonEventIds : 0), {}};
  for (const auto& record : list) {
    outcome.records.push_back(RecordOf(record));
  }
  return outcome;
}

/// An operation that the facade does not have: asked of a backend of its own.
Outcome ReadBoard(const Session& session) {
  NodeFirmwareInventoryImpRedfish backend(session.info);
  SystemBoardVPD board;
  const Result result = backend.GetSystemBoardVPD(board);
  if (result != Inventory::INVENTORY_SUCCESS) {
    return {result, {}, true};
  }
  return {result, {RecordOf(board)}, true};
}

template <auto operation>
Outcome List(const Session& session) {
  return ReadList(session.inventory, operation);
}

template <auto operation>
Outcome One(const Session& session) {
  return ReadOne(session.inventory, operation);
}

constexpr Operation firmware = List<&Inventory::GetNodeFirmwareBuildID>;
constexpr Operation identity = One<&Inventory::GetHardwareInfoComputerSystem>;
constexpr Operation machine = One<&Inventory::GetNodeFirmwareSystemVPD>;
constexpr Operation components = List<&Inventory::GetNodeOtherSystemVPD>;
constexpr Operation software = List<&Inventory::GetNFWSoftwareIdentity>;
constexpr Operation sensors = List<&Inventory::GetZMCNumericSensors>;
constexpr Operation leds = List<&Inventory::GetZMCIndicatorLED>;
constexpr Operation dns = List<&Inventory::GetZMCDNSSettingData>;
constexpr Operation addresses = List<&Inventory::GetZMCIPProtocolEndPoint>;
constexpr Operation staticAddresses = List<&Inventory::GetZMCStaticIPAddress>;
constexpr Operation snmp = List<&Inventory::GetZMCCommunityString>;

constexpr Command commands[] = {
    {"firmware", "build IDs and dates of the firmware", Layout::Sheet, firmware, firmware, firmware},
    {"generation", "generation of the service processor", Layout::Sheet, ReadGeneration, nullptr, ReadGeneration},
    {"identity", "product, manufacturer, serial number and UUID", Layout::Sheet, identity, identity, identity},
    {"system", "machine type and serial number", Layout::Sheet, machine, machine, machine},
    {"components", "replaceable components", Layout::Columns, components, components, components},
    {"software", "BMC and UEFI firmware of an AMD platform", Layout::Columns, software, nullptr, nullptr, true},
    {"board", "system board", Layout::Sheet, nullptr, ReadBoard, nullptr},
    {"sensors", "numeric sensors", Layout::Columns, nullptr, sensors, sensors},
    {"leds", "indicator LEDs", Layout::Columns, nullptr, nullptr, leds},
    {"log", "event log", Layout::Columns, nullptr, List<&Inventory::GetZMCMessageLogDataRedfish>, ReadCimLog},
    {"audit-log", "audit log", Layout::Columns, nullptr, List<&Inventory::GetZMCAuditLogDataViaREST>,
     List<&Inventory::GetZMCAuditLogDataViaCIM>},
    {"platform-log", "platform event log", Layout::Columns, nullptr, List<&Inventory::GetZMCPlatformLogDataViaREST>,
     List<&Inventory::GetZMCPlatformLogDataViaCIM>},
    {"active-events", "active events", Layout::Columns, nullptr, List<&Inventory::GetZMCActiveEventsDataViaREST>,
     nullptr},
    {"maintenance-log", "maintenance log", Layout::Columns, nullptr, List<&Inventory::GetZMCMaintLogDataViaREST>,
     nullptr},
    {"dns", "DNS settings of the management network", Layout::Columns, nullptr, dns, dns},
    {"ip", "IP addresses of the management network", Layout::Columns, nullptr, addresses, addresses},
    {"static-ip", "static addresses of the management network", Layout::Columns, nullptr, staticAddresses,
     staticAddresses},
    {"snmp", "SNMP settings of the management network", Layout::Columns, nullptr, snmp, snmp},
};

}  // namespace

bool Outcome::Delivered() const {
  return std::any_of(records.begin(), records.end(), HoldsAnything);
}

Operation Command::For(Protocol protocol) const {
  switch (protocol) {
    case Protocol::Ipmi:
      return ipmi;
    case Protocol::Redfish:
      return redfish;
    case Protocol::Cim:
      return cim;
  }
  return nullptr;
}

std::span<const Command> Commands() {
  return commands;
}

const Command& CommandNamed(std::string_view name, Protocol protocol) {
  std::string known;
  for (const Command& command : commands) {
    if (name != command.name) {
      known += std::string(known.empty() ? "" : ", ") + command.name;
    } else if (command.For(protocol) == nullptr) {
      throw ToolError(ExitCode::Unsupported, std::string(name) + " cannot be read over " + NameOf(protocol));
    } else {
      return command;
    }
  }
  throw ToolError(ExitCode::Usage, "unknown \"" + std::string(name) + "\"; known are " + known);
}

}  // namespace Kelvar::Tool
