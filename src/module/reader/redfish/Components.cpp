#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::Component;

struct TextRow {
  const char* path;
  std::string Component::*member;
};

// Rows for one member: the first that has a text counts.
constexpr std::array<TextRow, 21> kTexts = {{
    {"Name", &Component::name},
    {"FanName", &Component::name},
    {"Location/PartLocation/ServiceLabel", &Component::location},
    {"PhysicalLocation/PartLocation/ServiceLabel", &Component::location},
    {"Slot/Location/PartLocation/ServiceLabel", &Component::location},
    {"DeviceLocator", &Component::location},
    {"Socket", &Component::location},
    {"PhysicalLocation/Info", &Component::location},
    {"Location/Info", &Component::location},
    {"Manufacturer", &Component::manufacturer},
    {"Model", &Component::model},
    {"PartNumber", &Component::part_number},
    {"SparePartNumber", &Component::spare_part_number},
    {"SerialNumber", &Component::serial_number},
    {"AssetTag", &Component::asset_tag},
    {"FirmwareVersion", &Component::firmware_version},
    {"FirmwareRevision", &Component::firmware_version},
    {"FirmwarePackageVersion", &Component::firmware_version},
    {"Revision", &Component::firmware_version},
    {"MediaType", &Component::media},
    {"Protocol", &Component::protocol},
}};

/// Where a part is: what is written there, or which slot of its kind it is.
std::string PlaceAt(JsonValue location) {
  const JsonValue place = location["PartLocation"];
  const std::string type = TextAt(place, "LocationType");
  const std::string label = TextAt(place, "ServiceLabel");
  const std::string ordinal = TextAt(place, "LocationOrdinalValue");
  return !label.empty() || type.empty() || ordinal.empty() ? label : type + ' ' + ordinal;
}

Component Describe(const std::string& id, const char* kind, JsonValue json) {
  Component component;
  component.id = id;
  component.kind = kind;
  for (const TextRow& row : kTexts) {
    std::string& text = component.*row.member;
    if (text.empty()) {
      text = TextAt(json, row.path);
    }
  }
  component.media = Lower(component.media);
  component.protocol = Lower(component.protocol);
  const auto places = json["Location"].Elements();  // a list in former versions
  const JsonValue place = places.empty() ? json["Location"] : places.front();
  for (const std::string& location : {TextAt(place, "PartLocation/ServiceLabel"), TextAt(place, "Info"), PlaceAt(place),
                                      PlaceAt(json["PhysicalLocation"]), PlaceAt(json["Slot"]["Location"])}) {
    FillOne(component.location, location);
  }
  TakeStatus(component, json);
  return component;
}

std::optional<double> Scaled(std::optional<double> number, double factor) {
  return number ? std::optional<double>(*number * factor) : std::nullopt;
}

std::optional<double> FirstTold(std::optional<double> first, std::optional<double> second) {
  return first ? first : second;
}

std::optional<u64> Bytes(std::optional<double> number) {
  constexpr double kMost = 9e18;
  if (!number || *number < 1 || *number > kMost) {
    return std::nullopt;
  }
  return static_cast<u64>(*number);
}

void DescribeProcessor(Component& component, JsonValue json) {
  if (TextAt(json, "ProcessorType") == "GPU") {
    component.kind = "gpu";
  }
  component.cores = CountAt(json, "TotalCores");
  component.threads = CountAt(json, "TotalThreads");
  component.speed_mhz = FirstTold(PositiveAt(json, "MaxSpeedMHz"), PositiveAt(json, "OperatingSpeedMHz"));
  component.protocol.clear();
}

void DescribeMemory(Component& component, JsonValue json) {
  double parts = 0;  // of modules that hold their contents only in part
  for (const char* const part : {"VolatileSizeMiB", "NonVolatileSizeMiB"}) {
    parts += MebibytesAt(json, part).value_or(0);
  }
  component.capacity_bytes = Bytes(MebibytesAt(json, "CapacityMiB").value_or(parts) * 1024.0 * 1024);
  component.speed_mhz = PositiveAt(json, "OperatingSpeedMhz");
  component.media = Lower(TextAt(json, "MemoryDeviceType"));
}

/// Health that another property than Status tells.
void Worsen(Component& component, const std::string& health, const std::string& why) {
  const bool isWorse = component.health != "critical" && component.health != health;
  if (isWorse && component.state != "absent") {
    component.health = health;
    FillOne(component.health_text, why);
  }
}

void DescribeDrive(Component& component, JsonValue json) {
  constexpr double kMegabitsPerGigabit = 1000;
  component.capacity_bytes = Bytes(PositiveAt(json, "CapacityBytes"));
  const auto lifeLeft = NumberAt(json, "PredictedMediaLifeLeftPercent");
  if (lifeLeft && *lifeLeft >= 0 && *lifeLeft <= 100) {  // 255 is what some say of hard disks
    component.predicted_life_left_percent = lifeLeft;
  }
  const std::string indicator = WordAt(json, "StatusIndicator");
  if (indicator == "fail") {
    Worsen(component, "critical", "failed");
  } else if (indicator == "predictive_failure_analysis" || BoolAt(json, "FailurePredicted").value_or(false)) {
    Worsen(component, "warning", "failure predicted");
  }
  component.speed_mbps = Scaled(FirstTold(PositiveAt(json, "NegotiatedSpeedGbs"), PositiveAt(json, "CapableSpeedGbs")),
                                kMegabitsPerGigabit);
}

void DescribeController(Component& component, JsonValue json) {
  component.speed_mbps = Scaled(PositiveAt(json, "SpeedGbps"), 1000);
  for (const char* const list : {"SupportedDeviceProtocols", "SupportedControllerProtocols"}) {
    const auto protocols = json[list].Elements();
    if (component.protocol.empty() && protocols.size() == 1) {
      component.protocol = Lower(TextAt(protocols.front(), ""));
    }
  }
}

void DescribeAdapter(Component& component, JsonValue json) {
  const auto controllers = json["Controllers"].Elements();
  if (!controllers.empty()) {
    FillOne(component.firmware_version, TextAt(controllers.front(), "FirmwarePackageVersion"));
    FillOne(component.location, PlaceAt(controllers.front()["Location"]));
  }
}

void DescribePowerSupply(Component& component, JsonValue json) {
  component.power_capacity_watts = PositiveAt(json, "PowerCapacityWatts");
  for (const JsonValue range : Reader::FirstOf(json["InputRanges"], kMostDetails)) {
    if (!PositiveAt(json, "PowerCapacityWatts")) {
      component.power_capacity_watts = std::max(component.power_capacity_watts, PositiveAt(range, "OutputWattage"));
    }
  }
  component.protocol.clear();
}

void DescribeOther(Component& component, JsonValue json) {
  // Of a volume, or of a storage pool.
  component.capacity_bytes =
      Bytes(FirstTold(PositiveAt(json, "CapacityBytes"), PositiveAt(json, "Capacity/Data/AllocatedBytes")));
  if (WordAt(json, "BreakerState") == "tripped") {  // of a circuit
    Worsen(component, "critical", "breaker tripped");
  }
}

void DescribeChassis(Collected& to, const Component& component, JsonValue json) {
  const JsonValue outer = At(json, "Links/ContainedBy");
  const auto several = outer.Elements();  // which it should not be
  const std::string around = LinkedId(several.empty() ? outer : several.front(), "");
  if (!around.empty()) {
    to.containedBy[Lower(component.id)] = around;
  }
  for (const JsonValue inner : At(json, "Links/Contains").Elements()) {
    to.containedBy.emplace(Lower(LinkedId(inner, "")), component.id);
  }
}

using Describer = void (*)(Component&, JsonValue);

struct RoleRow {
  Role role;
  const char* kind;
  Describer describe;
};

constexpr std::array<RoleRow, 11> kKinds = {{
    {Role::Chassis, "chassis", nullptr},
    {Role::Processor, "processor", &DescribeProcessor},
    {Role::Memory, "memory", &DescribeMemory},
    {Role::StorageController, "storage_controller", &DescribeController},
    {Role::Drive, "drive", &DescribeDrive},
    {Role::NetworkAdapter, "network_adapter", &DescribeAdapter},
    {Role::PcieDevice, "pcie_device", nullptr},
    {Role::PowerSupply, "power_supply", &DescribePowerSupply},
    {Role::Battery, "battery", nullptr},
    {Role::Fan, "fan", nullptr},
    {Role::OtherPart, "other", &DescribeOther},
}};

void Add(Collected& to, Component component, JsonValue json, Collected::Shape shape) {
  to.places.emplace(Lower(component.id), component.id);
  TakeLed(to, {component.id, component.name, component.id}, json);
  if (to.Wants(Model::Family::Components) || to.Wants(Model::Family::Leds)) {
    to.parts.push_back({std::move(component), shape});
  }
}

std::string RowId(const Node& node, const char* list, std::size_t index) {
  return node.id + "#/" + list + '/' + std::to_string(index);
}

void TakeRows(Collected& to, const Node& node, JsonValue json, const char* list, const RoleRow& row) {
  std::size_t index = 0;
  for (const JsonValue element : to.RowsOf(json[list])) {
    const std::string id = RowId(node, list, index++);
    if (IsBare(element)) {
      continue;
    }
    Component component = Describe(id, row.kind, element);
    if (row.describe != nullptr) {
      row.describe(component, element);
    }
    Add(to, std::move(component), element, Collected::Shape::Row);
  }
}

/// Of a row of an assembly, which says in words what it is.
const char* AssemblyKind(const Component& row, JsonValue json) {
  const std::string words = Lower(row.name) + ' ' + WordAt(json, "PhysicalContext");
  const auto has = [&](const char* word) { return words.find(word) != std::string::npos; };
  if (has("backplane")) {
    return "backplane";
  }
  return has("board") || has("planar") || has("riser") ? "board" : "other";
}

const RoleRow& RowOf(Role role) {
  const auto found = std::find_if(kKinds.begin(), kKinds.end(), [&](const RoleRow& row) { return row.role == role; });
  return found == kKinds.end() ? kKinds.back() : *found;
}

}  // namespace

void TakePart(Collected& to, const Node& node, JsonValue json) {
  if (node.role == Role::OtherPart && TextAt(json, "VolumeType") == "RawDevice") {
    return;  // a drive once more
  }
  const RoleRow& row = RowOf(node.role);
  Component component = Describe(node.id, row.kind, json);
  if (row.describe != nullptr) {
    row.describe(component, json);
  }
  if (node.role == Role::Chassis) {
    DescribeChassis(to, component, json);
  }
  const std::string chassis = node.role == Role::OtherPart ? LinkedId(json, "Links/Chassis") : "";
  if (!chassis.empty()) {  // switches are below none
    to.containedBy.emplace(Lower(component.id), chassis);
  }
  Add(to, std::move(component), json, Collected::Shape::Resource);
}

void TakeStorage(Collected& to, const Node& node, JsonValue json) {
  to.storages.insert(Lower(node.id));
  const auto enclosures = At(json, "Links/Enclosures").Elements();
  if (enclosures.size() == 1) {  // it need not be below a system
    to.enclosures.emplace(Lower(node.id), LinkedId(enclosures.front(), ""));
  }
  TakeRows(to, node, json, "StorageControllers", RowOf(Role::StorageController));
}

void TakeSimpleStorage(Collected& to, const Node& node, JsonValue json) {
  Component controller = Describe(node.id, "storage_controller", json);
  Add(to, std::move(controller), json, Collected::Shape::Row);
  TakeRows(to, node, json, "Devices", RowOf(Role::Drive));
}

void TakePowerSupplyRows(Collected& to, const Node& node, JsonValue json) {
  TakeRows(to, node, json, "PowerSupplies", RowOf(Role::PowerSupply));
}

void TakeFanRows(Collected& to, const Node& node, JsonValue json) {
  TakeRows(to, node, json, "Fans", RowOf(Role::Fan));
}

void TakeAssembly(Collected& to, const Node& node, JsonValue json) {
  std::size_t index = 0;
  for (const JsonValue row : to.RowsOf(json["Assemblies"])) {
    Component part = Describe(RowId(node, "Assemblies", index++), "other", row);
    part.kind = AssemblyKind(part, row);
    for (const char* const property : {"Producer", "Vendor"}) {
      FillOne(part.manufacturer, TextAt(row, property));
    }
    if (!(part.model + part.part_number + part.serial_number).empty()) {  // else it is no more than a name
      Add(to, std::move(part), row, Collected::Shape::Assembly);
    }
  }
}

void TakePcieSlots(Collected& to, const Node& node, JsonValue json) {
  std::size_t index = 0;
  for (const JsonValue slot : to.RowsOf(json["Slots"])) {
    const std::string label = PlaceAt(slot["Location"]);
    TakeLed(to, {RowId(node, "Slots", index++), label, ""}, slot);
    for (const JsonValue device : Reader::FirstOf(At(slot, "Links/PCIeDevice"), kMostDetails)) {
      to.slotLabels.emplace(Lower(LinkedId(device, "")), label);
    }
  }
}

void TakePort(Collected& to, const Node& node, JsonValue json) {
  TakeLed(to, {node.id, TextAt(json, "Name"), ""}, json);
  const std::string adapter(Above(Above(node.id)));
  Collected::Ports& ports = to.ports[Lower(adapter)];
  std::string address = MacAddress(TextAt(json, "Ethernet/PermanentMACAddress"));
  address = address.empty() ? MacAddress(TextAt(json, "Ethernet/MACAddress")) : address;
  for (const char* const list : {"Ethernet/AssociatedMACAddresses", "AssociatedNetworkAddresses"}) {
    const auto addresses = At(json, list).Elements();
    if (address.empty() && !addresses.empty()) {
      address = MacAddress(TextAt(addresses.front(), ""));
    }
  }
  if (!address.empty() && (ports.macAddress.empty() || NaturalLess(node.id, ports.macId))) {
    ports.macAddress = address;
    ports.macId = node.id;
  }
  const auto speed =
      FirstTold(Scaled(PositiveAt(json, "CurrentSpeedGbps"), 1000), PositiveAt(json, "CurrentLinkSpeedMbps"));
  if (speed && (!ports.speedMbps || *ports.speedMbps < *speed)) {
    ports.speedMbps = speed;
  }
}

}  // namespace Kelvar::Reader
