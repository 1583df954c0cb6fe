#include <algorithm>
#include <array>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

struct TextRow {
  const char* path;
  std::string Model::System::*member;
};

constexpr std::array<TextRow, 10> kTexts = {{
    {"Name", &Model::System::name},
    {"Manufacturer", &Model::System::manufacturer},
    {"Model", &Model::System::model},
    {"PartNumber", &Model::System::part_number},
    {"SKU", &Model::System::sku},
    {"SerialNumber", &Model::System::serial_number},
    {"AssetTag", &Model::System::asset_tag},
    {"HostName", &Model::System::host_name},
    {"BiosVersion", &Model::System::bios_version},
    {"FirmwareVersion", &Model::System::firmware_version},
}};

/// Which systems a chassis is for, as both tell.
void NoteChassis(Collected& to, const Model::System& system, JsonValue json) {
  for (const JsonValue chassis : FirstOf(At(json, "Links/Chassis"), Collected::kMostRows)) {
    if (system.kind == "system") {
      to.systemsOf[Lower(LinkedId(chassis, ""))].insert(Lower(system.id));
    }
  }
  for (const JsonValue inner : FirstOf(At(json, "Links/ComputerSystems"), Collected::kMostRows)) {
    if (system.kind == "chassis") {
      to.systemsOf[Lower(system.id)].insert(Lower(LinkedId(inner, "")));
    }
  }
}

}  // namespace

void TakeSystem(Collected& to, const Node& node, JsonValue json) {
  Model::System system;
  system.id = node.id;
  system.kind = node.role == Role::System ? "system" : node.role == Role::Manager ? "manager" : "chassis";
  for (const TextRow& row : kTexts) {
    system.*row.member = TextAt(json, row.path);
  }
  system.uuid = Uuid(TextAt(json, "UUID"));
  system.power_state = WordAt(json, "PowerState");
  system.last_reset_time = DateTime(TextAt(json, "LastResetTime"));
  TakeStatus(system, json);
  NoteChassis(to, system, json);
  to.inventory->systems.push_back(std::move(system));
}

void FinishSystems(Collected& from) {
  auto& systems = from.inventory->systems;
  for (Model::System& system : systems) {
    const auto name = from.hostNames.find(Lower(system.id));
    if (system.host_name.empty() && name != from.hostNames.end()) {
      system.host_name = name->second;
    }
  }
  const auto rank = [](const Model::System& system) {
    return system.kind == "system" ? 0 : system.kind == "manager" ? 1 : 2;
  };
  std::stable_sort(systems.begin(), systems.end(), [&](const Model::System& left, const Model::System& right) {
    return rank(left) != rank(right) ? rank(left) < rank(right) : NaturalLess(left.id, right.id);
  });
  if (!from.Wants(Model::Family::System)) {
    systems.clear();
  }
}

}  // namespace Kelvar::Reader
