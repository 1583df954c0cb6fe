#include "module/reader/redfish/RedfishReader.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/text/Escape.h"
#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Fetcher.h"
#include "module/reader/redfish/Link.h"
#include "module/reader/redfish/MessageTexts.h"
#include "module/reader/redfish/Walk.h"

namespace Kelvar::Reader {

namespace {

using Model::Family;
using Model::FamilyStatus;

constexpr FamilyMask kSystem = MaskOf(Family::System);
constexpr FamilyMask kFirmware = MaskOf(Family::Firmware);
constexpr FamilyMask kComponents = MaskOf(Family::Components);
constexpr FamilyMask kSensors = MaskOf(Family::Sensors);
constexpr FamilyMask kLeds = MaskOf(Family::Leds);
constexpr FamilyMask kLogs = MaskOf(Family::Logs);
constexpr FamilyMask kNetwork = MaskOf(Family::Network);
constexpr FamilyMask kParts = kComponents | kLeds;
constexpr FamilyMask kPartsAndSensors = kParts | kSensors;

constexpr const char* kRootPath = "/redfish/v1/";

enum class Leads : u8 { ToCollection, ToOne, Later, FromRows };

/// A link that is followed: from which kind of resource, by which property, to what, for which families.
struct LinkRow {
  Role from;
  const char* property;
  Role to;
  Leads leads;
  FamilyMask families;
};

using enum Leads;

constexpr auto kLinks = std::to_array<LinkRow>({
    {Role::Root, "Systems", Role::System, ToCollection, ~FamilyMask{0}},
    {Role::Root, "StorageSystems", Role::System, ToCollection, ~FamilyMask{0}},
    {Role::Root, "Managers", Role::Manager, ToCollection, kSystem | kFirmware | kLeds | kLogs | kNetwork},
    {Role::Root, "Chassis", Role::Chassis, ToCollection, kSystem | kPartsAndSensors | kLogs},
    {Role::Root, "UpdateService", Role::UpdateService, ToOne, kFirmware},
    {Role::Root, "Storage", Role::Storage, ToCollection, kPartsAndSensors},
    {Role::Root, "StorageServices", Role::Storage, ToCollection, kPartsAndSensors},
    {Role::Root, "Fabrics", Role::Fabric, ToCollection, kPartsAndSensors},
    {Role::Root, "TelemetryService", Role::ServiceWithLog, ToOne, kLogs},
    {Role::Root, "JobService", Role::ServiceWithLog, ToOne, kLogs},
    {Role::ServiceWithLog, "LogService", Role::LogService, ToOne, kLogs},
    {Role::ServiceWithLog, "Log", Role::LogService, ToOne, kLogs},
    {Role::Root, "Cables", Role::OtherPart, ToCollection, kParts},
    {Role::Root, "ServiceConditions", Role::Conditions, ToOne, kSensors},
    {Role::Root, "PowerEquipment", Role::Equipment, ToOne, kPartsAndSensors},
    {Role::Root, "ThermalEquipment", Role::Equipment, ToOne, kPartsAndSensors},

    {Role::System, "Processors", Role::Processor, ToCollection, kPartsAndSensors},
    {Role::System, "Memory", Role::Memory, ToCollection, kPartsAndSensors},
    {Role::System, "Storage", Role::Storage, ToCollection, kPartsAndSensors},
    {Role::System, "SimpleStorage", Role::SimpleStorage, ToCollection, kParts},
    {Role::System, "PCIeDevices", Role::PcieDevice, ToCollection, kPartsAndSensors},
    {Role::System, "FabricAdapters", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::System, "LogServices", Role::LogService, ToCollection, kLogs},
    {Role::System, "EthernetInterfaces", Role::EthernetInterface, ToCollection, kNetwork},
    {Role::System, "NetworkInterfaces", Role::NetworkInterface, ToCollection, kPartsAndSensors},
    {Role::NetworkInterface, "Links/NetworkAdapter", Role::NetworkAdapter, Later, kPartsAndSensors},
    {Role::System, "Links/Chassis", Role::Chassis, Later, kSystem | kPartsAndSensors | kLogs},
    {Role::System, "Links/ManagedBy", Role::Manager, Later, kSystem | kFirmware | kLeds | kLogs | kNetwork},
    {Role::Processor, "Links/PCIeDevice", Role::PcieDevice, Later, kPartsAndSensors},
    {Role::Processor, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::Processor, "Metrics", Role::Metrics, ToOne, kSensors},
    {Role::Memory, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::Storage, "Drives", Role::Drive, ToCollection, kPartsAndSensors},
    {Role::Storage, "Controllers", Role::StorageController, ToCollection, kPartsAndSensors},
    {Role::Storage, "StorageControllers", Role::StorageController, FromRows, kPartsAndSensors},
    {Role::Storage, "Volumes", Role::OtherPart, ToCollection, kParts},
    {Role::SimpleStorage, "Devices", Role::Drive, FromRows, kParts},
    {Role::Power, "PowerSupplies", Role::PowerSupply, FromRows, kPartsAndSensors},
    {Role::Power, "Voltages", Role::Sensor, FromRows, kSensors},
    {Role::Thermal, "Fans", Role::Fan, FromRows, kPartsAndSensors},
    {Role::Thermal, "Temperatures", Role::Sensor, FromRows, kSensors},
    {Role::Storage, "Links/Enclosures", Role::Chassis, Later, kSystem | kPartsAndSensors | kLogs},
    {Role::StorageController, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::Drive, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},

    {Role::Chassis, "Drives", Role::Drive, ToCollection, kPartsAndSensors},
    {Role::Chassis, "Processors", Role::Processor, ToCollection, kPartsAndSensors},
    {Role::Chassis, "Memory", Role::Memory, ToCollection, kPartsAndSensors},
    {Role::Chassis, "NetworkAdapters", Role::NetworkAdapter, ToCollection, kPartsAndSensors},
    {Role::Chassis, "PCIeDevices", Role::PcieDevice, ToCollection, kPartsAndSensors},
    {Role::Chassis, "TrustedComponents", Role::OtherPart, ToCollection, kParts},
    {Role::Chassis, "Assembly", Role::Assembly, ToOne, kParts},
    {Role::Chassis, "PCIeSlots", Role::PcieSlots, ToOne, kParts},
    {Role::Chassis, "PowerSubsystem", Role::PowerSubsystem, ToOne, kPartsAndSensors},
    {Role::Chassis, "ThermalSubsystem", Role::ThermalSubsystem, ToOne, kPartsAndSensors},
    {Role::Chassis, "Power", Role::Power, ToOne, kPartsAndSensors},
    {Role::Chassis, "Thermal", Role::Thermal, ToOne, kPartsAndSensors},
    {Role::Chassis, "Sensors", Role::Sensor, ToCollection, kSensors},
    {Role::Chassis, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::Chassis, "LeakDetectors", Role::LeakDetector, ToCollection, kSensors},
    {Role::Chassis, "FabricAdapters", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::Chassis, "LogServices", Role::LogService, ToCollection, kLogs},
    {Role::Chassis, "Links/ComputerSystems", Role::System, Later, ~FamilyMask{0}},
    {Role::Chassis, "Links/ManagedBy", Role::Manager, Later, kSystem | kFirmware | kLeds | kLogs | kNetwork},
    {Role::Chassis, "Links/ContainedBy", Role::Chassis, Later, kSystem | kPartsAndSensors | kLogs},
    {Role::Chassis, "Links/Contains", Role::Chassis, Later, kSystem | kPartsAndSensors | kLogs},
    {Role::Chassis, "Links/Drives", Role::Drive, Later, kPartsAndSensors},
    {Role::Chassis, "Links/Storage", Role::Storage, Later, kPartsAndSensors},
    {Role::Chassis, "Links/Processors", Role::Processor, Later, kPartsAndSensors},
    {Role::Chassis, "Links/PowerSupplies", Role::PowerSupply, Later, kPartsAndSensors},
    {Role::Chassis, "Links/Fans", Role::Fan, Later, kPartsAndSensors},
    {Role::Chassis, "Links/PCIeDevices", Role::PcieDevice, Later, kPartsAndSensors},
    {Role::NetworkAdapter, "Ports", Role::NetworkPort, ToCollection, kParts},
    {Role::NetworkAdapter, "NetworkPorts", Role::NetworkPort, ToCollection, kParts},
    {Role::NetworkAdapter, "NetworkDeviceFunctions", Role::NetworkPort, ToCollection, kComponents},
    {Role::NetworkAdapter, "Processors", Role::Processor, ToCollection, kPartsAndSensors},
    {Role::NetworkAdapter, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::PcieDevice, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::PowerSubsystem, "PowerSupplies", Role::PowerSupply, ToCollection, kPartsAndSensors},
    {Role::PowerSubsystem, "Batteries", Role::Battery, ToCollection, kPartsAndSensors},
    {Role::PowerSupply, "Metrics", Role::Metrics, ToOne, kSensors},
    {Role::PowerSupply, "Assembly", Role::Assembly, ToOne, kComponents},
    {Role::Fan, "Assembly", Role::Assembly, ToOne, kComponents},
    {Role::Battery, "Metrics", Role::Metrics, ToOne, kSensors},
    {Role::ThermalSubsystem, "Fans", Role::Fan, ToCollection, kPartsAndSensors},
    {Role::ThermalSubsystem, "Pumps", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::ThermalSubsystem, "Heaters", Role::Heater, ToCollection, kPartsAndSensors},
    {Role::ThermalSubsystem, "Filters", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::ThermalSubsystem, "CoolantConnectors", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::ThermalSubsystem, "ThermalMetrics", Role::Metrics, ToOne, kSensors},
    {Role::ThermalSubsystem, "LeakDetection", Role::LeakDetection, ToOne, kSensors},
    {Role::Heater, "Metrics", Role::Metrics, ToOne, kSensors},
    {Role::LeakDetection, "LeakDetectors", Role::LeakDetector, ToCollection, kSensors},
    {Role::Fabric, "Switches", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::OtherPart, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},

    {Role::Equipment, "RackPDUs", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "FloorPDUs", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "TransferSwitches", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "Switchgear", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "PowerShelves", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "ElectricalBuses", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "CDUs", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "RPUs", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "ImmersionUnits", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "HeatExchangers", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::Equipment, "CoolingLoops", Role::EquipmentUnit, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Links/Chassis", Role::Chassis, Later, kSystem | kPartsAndSensors | kLogs},
    {Role::EquipmentUnit, "Links/ManagedBy", Role::Manager, Later, kSystem | kFirmware | kLeds | kLogs | kNetwork},
    {Role::EquipmentUnit, "Mains", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Feeders", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Branches", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Subfeeds", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Outlets", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "OutletGroups", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Pumps", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Filters", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Reservoirs", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "PrimaryCoolantConnectors", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "SecondaryCoolantConnectors", Role::OtherPart, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "PowerSupplies", Role::PowerSupply, ToCollection, kPartsAndSensors},
    {Role::EquipmentUnit, "Sensors", Role::Sensor, ToCollection, kSensors},
    {Role::EquipmentUnit, "Metrics", Role::Metrics, ToOne, kSensors},
    {Role::EquipmentUnit, "EnvironmentMetrics", Role::Metrics, ToOne, kSensors},
    {Role::EquipmentUnit, "LeakDetection", Role::LeakDetection, ToOne, kSensors},
    {Role::EquipmentUnit, "Assembly", Role::Assembly, ToOne, kComponents},

    {Role::Manager, "Links/ManagerForServers", Role::System, Later, ~FamilyMask{0}},
    {Role::Manager, "Links/ManagerForManagers", Role::Manager, Later, kSystem | kFirmware | kLeds | kLogs | kNetwork},
    {Role::Manager, "Links/ManagerForChassis", Role::Chassis, Later, kSystem | kPartsAndSensors | kLogs},
    {Role::Manager, "EthernetInterfaces", Role::EthernetInterface, ToCollection, kNetwork},
    {Role::Manager, "HostInterfaces", Role::HostInterface, ToCollection, kNetwork},
    {Role::HostInterface, "ManagerEthernetInterface", Role::EthernetInterface, Later, kNetwork},
    {Role::HostInterface, "HostEthernetInterfaces", Role::EthernetInterface, Later, kNetwork},
    {Role::EthernetInterface, "VLANs", Role::Vlan, ToCollection, kNetwork},
    {Role::Manager, "NetworkProtocol", Role::NetworkProtocol, ToOne, kNetwork},
    {Role::Manager, "LogServices", Role::LogService, ToCollection, kLogs},
    {Role::UpdateService, "FirmwareInventory", Role::Firmware, ToCollection, kFirmware},
    {Role::UpdateService, "SoftwareInventory", Role::Software, ToCollection, kFirmware},
    {Role::LogService, "Entries", Role::LogEntry, ToCollection, kLogs},
});

/// Whether a resource has a health in sum with others.
constexpr bool HoldsParts(Role role) {
  constexpr auto kRoles =
      std::to_array<Role>({Role::System, Role::Chassis, Role::Storage, Role::Power, Role::Thermal, Role::PowerSubsystem,
                           Role::ThermalSubsystem, Role::Fabric, Role::EquipmentUnit, Role::Conditions, Role::Manager,
                           Role::LeakDetection});
  return std::find(kRoles.begin(), kRoles.end(), role) != kRoles.end();
}

/// One reading of a service.
class Reading {
 public:
  Reading(const ReadRequest& request, Model::Inventory& inventory)
      : request_(request),
        inventory_(inventory),
        fetcher_(request),
        walk_(request, fetcher_, [this](const Node& node, JsonValue json) { Visit(node, json); }) {
    for (const Family family : request.families) {
      collected_.wanted |= MaskOf(family);
    }
    collected_.inventory = &inventory;
  }

  void Run() {
    const bool understood = ReadRoot();
    if (understood) {
      walk_.Run();
    }
    Finish();
    SetResults(understood);
  }

 private:
  bool ReadRoot();
  void TakeRoot(Reply& reply);
  void Visit(const Node& node, JsonValue json);
  void TakeSummaries(const Node& node, JsonValue json);
  void Take(const Node& node, JsonValue json);
  void TakeChassisSide(const Node& node, JsonValue json);
  void TakeReadings(const Node& node, JsonValue json);
  void FollowLinks(const Node& node, JsonValue json);
  void FollowRows(const Node& node, JsonValue list, Role role, FamilyMask families);
  void FollowSlots(const Node& node, JsonValue json);
  void FollowExcerpts(const Node& node, JsonValue json);
  void FollowLeakDetectors(const Node& node, JsonValue json);
  void Finish();
  void SetResults(bool understood);
  Model::FamilyResult ResultOf(Family family) const;
  std::size_t CountOf(Family family) const;

  const ReadRequest& request_;
  Model::Inventory& inventory_;
  Collected collected_;
  Fetcher fetcher_;
  Walk walk_;
  std::string registries_;    ///< path of the list of message registries
  bool anyLogEntry_ = false;  ///< also one that is left out by the options
  bool understood_ = false;
  FailureCause cause_ = FailureCause::None;
  std::string reason_;
};

bool Reading::ReadRoot() {
  fetcher_.Get(kRootPath, [this](Reply& reply) {
    if (reply.IsMissing()) {  // a service that minds the slash
      fetcher_.Get("/redfish/v1", [this](Reply& again) { TakeRoot(again); });
      return;
    }
    TakeRoot(reply);
  });
  fetcher_.Run();
  return understood_;
}

void Reading::TakeRoot(Reply& reply) {
  cause_ = reply.cause;
  reason_ = reply.error;
  if (reply.IsMissing()) {
    cause_ = FailureCause::NotSuchService;
    reason_ = "there is no Redfish service root: " + reply.error;
  }
  const auto document = reply.IsOk() ? JsonDocument::ReadLeniently(std::move(reply.body)) : std::nullopt;
  if (reply.IsOk() && (!document || TextAt(document->Root(), "RedfishVersion").empty())) {
    cause_ = FailureCause::NotSuchService;
    reason_ = "the response is not a Redfish service root";
  }
  if (cause_ != FailureCause::None) {
    DiagnosticsRecorder::AddGap(GapKind::Failure, cause_, kRootPath, reason_);
    return;
  }
  understood_ = true;
  DiagnosticsRecorder::NoteServiceUnderstood();
  const JsonValue root = document->Root();
  walk_.UseRoot(kRootPath, root);
  std::string sessions = LinkAt(root, "Links/Sessions");
  if (sessions.empty() && root["SessionService"]) {
    const std::string service = LinkAt(root, "SessionService");
    sessions = service + (!service.empty() && service.back() == '/' ? "Sessions" : "/Sessions");
  }
  const auto registries = ParseLink(LinkAt(root, "Registries"), fetcher_.Origin());
  registries_ = registries ? registries->path : "";
  const auto link = ParseLink(sessions, fetcher_.Origin());
  fetcher_.Login(link ? link->path : "");
  Node node;
  node.path = kRootPath;
  FollowLinks(node, root);
}

void Reading::FollowLinks(const Node& node, JsonValue json) {
  for (const LinkRow& row : kLinks) {
    const FamilyMask families = row.families & collected_.wanted;
    if (row.from != node.role || families == 0) {
      continue;
    }
    const JsonValue target = At(json, row.property);
    if (row.leads == FromRows) {
      FollowRows(node, target, row.to, families);
      continue;
    }
    if (row.leads != Later) {
      walk_.Follow(node, target, row.to, row.leads == ToCollection, families);
      continue;
    }
    if (!target.IsArray()) {
      walk_.FollowLater(node, LinkAt(target, ""), row.to, families);
    }
    for (const JsonValue element : target.Elements()) {
      walk_.FollowLater(node, LinkAt(element, ""), row.to, families);
    }
  }
}

/// Lists that hold what they list, where some services hold links alone, or a link to a collection.
void Reading::FollowRows(const Node& node, JsonValue list, Role role, FamilyMask families) {
  if (list.IsObject()) {
    walk_.Follow(node, list, role, true, families);
  }
  for (const JsonValue row : collected_.RowsOf(list)) {
    if (IsBare(row)) {
      walk_.FollowLater(node, LinkAt(row, "@odata.id"), role, families);
    }
  }
}

/// Some devices are only found by the slot that holds them.
void Reading::FollowSlots(const Node& node, JsonValue json) {
  for (const JsonValue slot : collected_.RowsOf(json["Slots"])) {
    for (const JsonValue device : FirstOf(At(slot, "Links/PCIeDevice"), kMostDetails)) {
      walk_.FollowLater(node, LinkAt(device, ""), Role::PcieDevice, kPartsAndSensors & collected_.wanted);
    }
  }
}

void Reading::FollowExcerpts(const Node& node, JsonValue json) {
  if (!collected_.Wants(Family::Sensors)) {
    return;
  }
  for (const std::string& source : TakeExcerpts(collected_, node, json)) {
    walk_.FollowLater(node, source, Role::Sensor, kSensors);
  }
}

/// Groups name detectors of others, too.
void Reading::FollowLeakDetectors(const Node& node, JsonValue json) {
  for (const std::string& source : TakeLeakDetectorGroups(collected_, node, json)) {
    walk_.FollowLater(node, source, Role::LeakDetector, kSensors);
  }
  FollowExcerpts(node, json);
}

void Reading::Visit(const Node& node, JsonValue json) {
  const std::size_t limit = request_.options.connection.record_limit;
  const bool full =
      collected_.Count() >= (limit == 0 ? Collected::kMostRecords : std::min(limit, Collected::kMostRecords));
  if (!full) {
    FollowLinks(node, json);
    Take(node, json);
  }
  if (full || std::exchange(collected_.cut, false)) {
    walk_.NoteLimit(node.families, "more records than any machine has");
  }
}

/// What a resource says of the health of others.
void Reading::TakeSummaries(const Node& node, JsonValue json) {
  if (collected_.Wants(Family::Sensors) && HoldsParts(node.role)) {
    TakeRedundancy(collected_, node, json);
    TakeIntrusion(collected_, node, json);
    NoteSummaries(collected_, node, json);
  }
  if ((node.families & kPartsAndSensors) != 0) {
    NoteAbsent(collected_, json);
  }
}

void Reading::Take(const Node& node, JsonValue json) {
  TakeSummaries(node, json);
  switch (node.role) {
    case Role::LogService:
      TakeZone(collected_, node, json);
      return;
    case Role::System:
    case Role::Manager:
      NoteImages(collected_, json);
      TakeZone(collected_, node, json);
      collected_.places.emplace(Lower(node.id), node.id);
      TakeSystem(collected_, node, json);
      TakeLed(collected_, {node.id, TextAt(json, "Name"), node.id}, json);
      return;
    case Role::Firmware:
    case Role::Software:
      TakeFirmware(collected_, node, json);
      return;
    case Role::LogEntry:
      TakeLogEntry(collected_, node, json);
      return;
    case Role::EthernetInterface:
      TakeEthernet(collected_, node, json);
      return;
    case Role::Vlan:
      TakeVlan(collected_, node, json);
      return;
    case Role::NetworkProtocol:
      TakeNetworkProtocol(collected_, node, json);
      return;
    case Role::Storage:
      TakeStorage(collected_, node, json);
      if (!json["Volumes"].IsObject()) {  // which are the pools once more
        walk_.Follow(node, json["StoragePools"], Role::OtherPart, true, node.families & kParts);
      }
      return;
    case Role::SimpleStorage:
      TakeSimpleStorage(collected_, node, json);
      return;
    case Role::NetworkPort:
      TakePort(collected_, node, json);
      return;
    default:
      TakeChassisSide(node, json);
  }
}

void Reading::TakeChassisSide(const Node& node, JsonValue json) {
  switch (node.role) {
    case Role::Chassis:
      TakeSystem(collected_, node, json);
      TakePart(collected_, node, json);
      return;
    case Role::Processor:
    case Role::Memory:
    case Role::StorageController:
    case Role::Drive:
    case Role::NetworkAdapter:
    case Role::PcieDevice:
    case Role::PowerSupply:
      TakePart(collected_, node, json);
      return;
    case Role::EquipmentUnit:
    case Role::Battery:
    case Role::Fan:
    case Role::Heater:
    case Role::OtherPart:
      TakePart(collected_, node, json);
      FollowExcerpts(node, json);
      return;
    case Role::Assembly:
      TakeAssembly(collected_, node, json);
      return;
    case Role::PcieSlots:
      TakePcieSlots(collected_, node, json);
      FollowSlots(node, json);
      return;
    case Role::Power:
      TakePowerSupplyRows(collected_, node, json);
      TakePowerReadings(collected_, node, json);
      return;
    case Role::Thermal:
      TakeFanRows(collected_, node, json);
      TakeThermalReadings(collected_, node, json);
      return;
    default:
      TakeReadings(node, json);
  }
}

void Reading::TakeReadings(const Node& node, JsonValue json) {
  switch (node.role) {
    case Role::Sensor:
      TakeSensor(collected_, node, json);
      return;
    case Role::LeakDetector:
      TakeLeakDetector(collected_, node, json);
      return;
    case Role::LeakDetection:
      FollowLeakDetectors(node, json);
      return;
    case Role::Metrics:
      FollowExcerpts(node, json);
      return;
    default:  // only leads on
      return;
  }
}

void Reading::Finish() {
  FinishComponents(collected_);
  FinishFirmware(collected_);
  if (collected_.Wants(Family::Sensors)) {
    FinishSensors(collected_);
    FinishSummaries(collected_);
  }
  anyLogEntry_ = !collected_.entries.empty();
  FinishLogs(collected_, request_.options);
  MessageTexts(fetcher_, registries_).Fill(inventory_.log_entries);
  FinishNetwork(collected_);
  FinishLeds(collected_);
  FinishSystems(collected_);
}

std::size_t Reading::CountOf(Family family) const {
  switch (family) {
    case Family::System:
      return inventory_.systems.size();
    case Family::Firmware:
      return inventory_.firmware.size();
    case Family::Components:
      return inventory_.components.size();
    case Family::Sensors:
      return inventory_.sensors.size();
    case Family::Leds:
      return inventory_.leds.size();
    case Family::Logs:
      return inventory_.log_entries.size();
    case Family::Network:
      return inventory_.network_interfaces.size() + inventory_.network_services.size();
  }
  return 0;
}

Model::FamilyResult Reading::ResultOf(Family family) const {
  const Walk::Outcome& outcome = walk_.OutcomeOf(family);
  const bool any = CountOf(family) != 0 || (family == Family::Logs && anyLogEntry_);
  if (outcome.failures == 0) {
    const bool has = any || (family == Family::Logs && walk_.HasReadLog());
    return {has ? FamilyStatus::Complete : FamilyStatus::Absent, FailureCause::None, has ? "" : "the service has none"};
  }
  std::string reason = outcome.first;
  if (outcome.failures > 1) {
    reason += " (and " + std::to_string(outcome.failures - 1) + " more)";
  }
  return {any ? FamilyStatus::Partial : FamilyStatus::Failed, outcome.cause, std::move(reason)};
}

void Reading::SetResults(bool understood) {
  const bool refused = fetcher_.Stopped() == FailureCause::LoginRefused;
  for (const Family family : request_.families) {
    Model::FamilyResult& result = inventory_.ResultOf(family);
    if (understood && !refused) {
      result = ResultOf(family);
      continue;
    }
    const bool stopped = fetcher_.Stopped() != FailureCause::None;
    result = {CountOf(family) != 0 ? FamilyStatus::Partial : FamilyStatus::Failed,
              stopped ? fetcher_.Stopped() : cause_, stopped ? fetcher_.StopReason() : Text::EscapeControl(reason_)};
  }
}

}  // namespace

void ReadRedfish(const ReadRequest& request, Model::Inventory& inventory) {
  Reading(request, inventory).Run();
}

void CloseRedfish(const ReadRequest& request) {
  Fetcher(request).CloseKept();
}

}  // namespace Kelvar::Reader
