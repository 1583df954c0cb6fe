#include "tools/kelvar/Operations.h"

#include <algorithm>

#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Suggestion.h"

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
  if (result != Inventory::INVENTORY_SUCCESS && !HoldsFact(fields)) {
    return {result, {}};
  }
  return {result, {std::move(fields)}};
}

Outcome ReadGeneration(const OperationContext& context) {
  Inventory::ZMCGENERATIONTYPE generation = Inventory::ZMC_GENERATION_1;
  const Result result = context.inventory.GetZMCGenerationType(generation);
  if (result != Inventory::INVENTORY_SUCCESS) {
    return {result, {}};
  }
  return {result, {RecordOf(generation)}};
}

Outcome ReadCimLog(const OperationContext& context) {
  constexpr int kCommonEventIds = 3;
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> list;
  Outcome outcome{context.inventory.GetZMCMessageLogDataCIM(list, context.commonEventId ? kCommonEventIds : 0), {}};
  for (const auto& record : list) {
    outcome.records.push_back(RecordOf(record));
  }
  return outcome;
}

/// An operation that the facade does not have: asked of a backend of its own.
Outcome ReadBoard(const OperationContext& context) {
  NodeFirmwareInventoryImpRedfish backend(context.info);
  SystemBoardVPD board;
  const Result result = backend.GetSystemBoardVPD(board);
  if (result != Inventory::INVENTORY_SUCCESS) {
    return {result, {}};
  }
  return {result, {RecordOf(board)}};
}

template <auto operation>
Outcome List(const OperationContext& context) {
  return ReadList(context.inventory, operation);
}

template <auto operation>
Outcome One(const OperationContext& context) {
  return ReadOne(context.inventory, operation);
}

constexpr ReadFunction kFirmware = List<&Inventory::GetNodeFirmwareBuildID>;
constexpr ReadFunction kIdentity = One<&Inventory::GetHardwareInfoComputerSystem>;
constexpr ReadFunction kSystem = One<&Inventory::GetNodeFirmwareSystemVPD>;
constexpr ReadFunction kComponents = List<&Inventory::GetNodeOtherSystemVPD>;
constexpr ReadFunction kSoftware = List<&Inventory::GetNFWSoftwareIdentity>;
constexpr ReadFunction kSensors = List<&Inventory::GetZMCNumericSensors>;
constexpr ReadFunction kLeds = List<&Inventory::GetZMCIndicatorLED>;
constexpr ReadFunction kRedfishLog = List<&Inventory::GetZMCMessageLogDataRedfish>;
constexpr ReadFunction kRedfishAudit = List<&Inventory::GetZMCAuditLogDataViaREST>;
constexpr ReadFunction kCimAudit = List<&Inventory::GetZMCAuditLogDataViaCIM>;
constexpr ReadFunction kRedfishPlatform = List<&Inventory::GetZMCPlatformLogDataViaREST>;
constexpr ReadFunction kCimPlatform = List<&Inventory::GetZMCPlatformLogDataViaCIM>;
constexpr ReadFunction kEvents = List<&Inventory::GetZMCActiveEventsDataViaREST>;
constexpr ReadFunction kMaintenance = List<&Inventory::GetZMCMaintLogDataViaREST>;
constexpr ReadFunction kDns = List<&Inventory::GetZMCDNSSettingData>;
constexpr ReadFunction kAddresses = List<&Inventory::GetZMCIPProtocolEndPoint>;
constexpr ReadFunction kStatic = List<&Inventory::GetZMCStaticIPAddress>;
constexpr ReadFunction kSnmp = List<&Inventory::GetZMCCommunityString>;

using Kind = Operation::Kind;
using Layout = Operation::Layout;

constexpr bool kLasting = true;
constexpr bool kSomeMachines = true;

constexpr Operation kOperations[] = {
    {"firmware", "build IDs and dates of the firmware", Kind::Partial, Layout::Sheet, kLasting, !kSomeMachines,
     kFirmware, kFirmware, kFirmware},
    {"generation", "generation of the service processor", Kind::Whole, Layout::Sheet, kLasting, !kSomeMachines,
     ReadGeneration, nullptr, ReadGeneration},
    {"identity", "product, serial number and UUID", Kind::Whole, Layout::Sheet, kLasting, !kSomeMachines, kIdentity,
     kIdentity, kIdentity},
    {"system", "machine type and serial number", Kind::Whole, Layout::Sheet, kLasting, !kSomeMachines, kSystem, kSystem,
     kSystem},
    {"components", "replaceable components", Kind::List, Layout::Columns, kLasting, !kSomeMachines, kComponents,
     kComponents, kComponents},
    {"software", "BMC and UEFI firmware of an AMD platform", Kind::List, Layout::Columns, kLasting, kSomeMachines,
     kSoftware, nullptr, nullptr},
    {"board", "system board", Kind::Whole, Layout::Sheet, kLasting, !kSomeMachines, nullptr, ReadBoard, nullptr},
    {"sensors", "numeric sensors", Kind::List, Layout::Columns, !kLasting, !kSomeMachines, nullptr, kSensors, kSensors},
    {"leds", "indicator LEDs", Kind::List, Layout::Columns, !kLasting, !kSomeMachines, nullptr, nullptr, kLeds},
    {"log", "event log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines, nullptr, kRedfishLog, ReadCimLog},
    {"audit-log", "audit log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines, nullptr, kRedfishAudit,
     kCimAudit},
    {"platform-log", "platform event log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines, nullptr,
     kRedfishPlatform, kCimPlatform},
    {"active-events", "active events", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines, nullptr, kEvents,
     nullptr},
    {"maintenance-log", "maintenance log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines, nullptr, kMaintenance,
     nullptr},
    {"dns", "DNS settings of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines, nullptr,
     kDns, kDns},
    {"ip", "IP addresses of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines, nullptr,
     kAddresses, kAddresses},
    {"static-ip", "static addresses of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines,
     nullptr, kStatic, kStatic},
    {"snmp", "SNMP settings of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines, nullptr,
     kSnmp, kSnmp},
};

}  // namespace

ReadFunction Operation::For(Protocol protocol) const {
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

std::span<const Operation> Operations() {
  return kOperations;
}

const Operation* FindOperation(std::string_view name) {
  const auto found = std::find_if(std::begin(kOperations), std::end(kOperations),
                                  [name](const Operation& operation) { return name == operation.name; });
  return found == std::end(kOperations) ? nullptr : found;
}

const Operation& OperationNamed(std::string_view name) {
  if (const Operation* const found = FindOperation(name)) {
    return *found;
  }
  std::vector<std::string> known;
  std::string list;
  for (const Operation& operation : kOperations) {
    known.emplace_back(operation.name);
    list += (list.empty() ? "" : ", ") + known.back();
  }
  const std::string suggestion = Suggestion(name, known);
  throw ToolError(ExitCode::Usage,
                  "no such part: " + std::string(name) + (suggestion.empty() ? "; use one of " + list : suggestion));
}

const Operation& OperationNamed(std::string_view name, Protocol protocol) {
  const Operation& operation = OperationNamed(name);
  if (operation.For(protocol) == nullptr) {
    throw ToolError(ExitCode::Unsupported, std::string(name) + " cannot be read over " + NameOf(protocol));
  }
  return operation;
}

std::vector<const Operation*> OperationsFor(const std::vector<std::string>& what, Protocol protocol) {
  std::vector<const Operation*> operations;
  for (const std::string& word : what) {
    operations.push_back(&OperationNamed(word, protocol));
  }
  for (const Operation& operation : kOperations) {
    if (what.empty() && operation.For(protocol) != nullptr) {
      operations.push_back(&operation);
    }
  }
  return operations;
}

}  // namespace Kelvar::Tool
