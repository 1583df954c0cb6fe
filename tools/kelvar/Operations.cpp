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

// Those that several protocols have.
constexpr ReadFunction kFirmware = List<&Inventory::GetNodeFirmwareBuildID>;
constexpr ReadFunction kIdentity = One<&Inventory::GetHardwareInfoComputerSystem>;
constexpr ReadFunction kSystem = One<&Inventory::GetNodeFirmwareSystemVPD>;
constexpr ReadFunction kComponents = List<&Inventory::GetNodeOtherSystemVPD>;
constexpr ReadFunction kSensors = List<&Inventory::GetZMCNumericSensors>;
constexpr ReadFunction kDns = List<&Inventory::GetZMCDNSSettingData>;
constexpr ReadFunction kAddresses = List<&Inventory::GetZMCIPProtocolEndPoint>;
constexpr ReadFunction kStatic = List<&Inventory::GetZMCStaticIPAddress>;
constexpr ReadFunction kSnmp = List<&Inventory::GetZMCCommunityString>;

using Kind = Operation::Kind;
using Layout = Operation::Layout;

constexpr bool kLasting = true;
constexpr bool kSomeMachines = true;

constexpr Operation kOperations[] = {
    {"firmware", "build IDs and dates of the firmware", Kind::Partial, Layout::KeyValue, kLasting, !kSomeMachines},
    {"generation", "generation of the service processor", Kind::Whole, Layout::KeyValue, kLasting, !kSomeMachines},
    {"identity", "product, serial number and UUID", Kind::Whole, Layout::KeyValue, kLasting, !kSomeMachines},
    {"system", "machine type and serial number", Kind::Whole, Layout::KeyValue, kLasting, !kSomeMachines},
    {"components", "replaceable components", Kind::List, Layout::Columns, kLasting, !kSomeMachines},
    {"software", "BMC and UEFI firmware of an AMD platform", Kind::List, Layout::Columns, kLasting, kSomeMachines},
    {"board", "system board", Kind::Whole, Layout::KeyValue, kLasting, !kSomeMachines},
    {"sensors", "numeric sensors", Kind::List, Layout::Columns, !kLasting, !kSomeMachines},
    {"leds", "indicator LEDs", Kind::List, Layout::Columns, !kLasting, !kSomeMachines},
    {"log", "event log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines},
    {"audit-log", "audit log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines},
    {"platform-log", "platform event log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines},
    {"active-events", "active events", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines},
    {"maintenance-log", "maintenance log", Kind::Log, Layout::Columns, !kLasting, !kSomeMachines},
    {"dns", "DNS settings of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines},
    {"ip", "IP addresses of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines},
    {"static-ip", "static addresses of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines},
    {"snmp", "SNMP settings of the management network", Kind::List, Layout::Columns, !kLasting, !kSomeMachines},
};

/// How an operation is read over a protocol.
struct Source {
  std::string_view operation;
  Protocol protocol;
  ReadFunction read;
};

constexpr Source kSources[] = {
    {"firmware", Protocol::Ipmi, kFirmware},
    {"generation", Protocol::Ipmi, ReadGeneration},
    {"identity", Protocol::Ipmi, kIdentity},
    {"system", Protocol::Ipmi, kSystem},
    {"components", Protocol::Ipmi, kComponents},
    {"software", Protocol::Ipmi, List<&Inventory::GetNFWSoftwareIdentity>},

    {"firmware", Protocol::Redfish, kFirmware},
    {"identity", Protocol::Redfish, kIdentity},
    {"system", Protocol::Redfish, kSystem},
    {"components", Protocol::Redfish, kComponents},
    {"board", Protocol::Redfish, ReadBoard},
    {"sensors", Protocol::Redfish, kSensors},
    {"log", Protocol::Redfish, List<&Inventory::GetZMCMessageLogDataRedfish>},
    {"audit-log", Protocol::Redfish, List<&Inventory::GetZMCAuditLogDataViaREST>},
    {"platform-log", Protocol::Redfish, List<&Inventory::GetZMCPlatformLogDataViaREST>},
    {"active-events", Protocol::Redfish, List<&Inventory::GetZMCActiveEventsDataViaREST>},
    {"maintenance-log", Protocol::Redfish, List<&Inventory::GetZMCMaintLogDataViaREST>},
    {"dns", Protocol::Redfish, kDns},
    {"ip", Protocol::Redfish, kAddresses},
    {"static-ip", Protocol::Redfish, kStatic},
    {"snmp", Protocol::Redfish, kSnmp},

    {"firmware", Protocol::Cim, kFirmware},
    {"generation", Protocol::Cim, ReadGeneration},
    {"identity", Protocol::Cim, kIdentity},
    {"system", Protocol::Cim, kSystem},
    {"components", Protocol::Cim, kComponents},
    {"sensors", Protocol::Cim, kSensors},
    {"leds", Protocol::Cim, List<&Inventory::GetZMCIndicatorLED>},
    {"log", Protocol::Cim, ReadCimLog},
    {"audit-log", Protocol::Cim, List<&Inventory::GetZMCAuditLogDataViaCIM>},
    {"platform-log", Protocol::Cim, List<&Inventory::GetZMCPlatformLogDataViaCIM>},
    {"dns", Protocol::Cim, kDns},
    {"ip", Protocol::Cim, kAddresses},
    {"static-ip", Protocol::Cim, kStatic},
    {"snmp", Protocol::Cim, kSnmp},
};

}  // namespace

ReadFunction Operation::For(Protocol protocol) const {
  const auto found = std::find_if(std::begin(kSources), std::end(kSources), [&](const Source& source) {
    return source.operation == name && source.protocol == protocol;
  });
  return found == std::end(kSources) ? nullptr : found->read;
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
  operations.reserve(what.size());
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
