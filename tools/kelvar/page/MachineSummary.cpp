#include "tools/kelvar/page/MachineSummary.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/kelvar/JsonWriter.h"

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kMostFirmware = 24;
constexpr std::size_t kMostReasons = 12;

const Model::System* SystemOfKind(const Model::Inventory& inventory, const char* kind) {
  const auto found = std::find_if(inventory.systems.begin(), inventory.systems.end(),
                                  [&](const Model::System& system) { return system.kind == kind; });
  return found == inventory.systems.end() ? nullptr : &*found;
}

std::string FirmwareOfKind(const Model::Inventory& inventory, const char* kind) {
  const auto found =
      std::find_if(inventory.firmware.begin(), inventory.firmware.end(),
                   [&](const Model::Firmware& firmware) { return firmware.kind == kind && firmware.bank != "backup"; });
  return found == inventory.firmware.end() ? std::string() : found->version;
}

struct Identity {
  std::string name;
  std::string model;
  std::string serial;
  std::string bios;
  std::string bmc;
};

Identity IdentityOf(const Model::Inventory& inventory) {
  Identity identity;
  if (const Model::System* const system = SystemOfKind(inventory, "system")) {
    identity.name = system->host_name;
    identity.model = system->manufacturer + (system->manufacturer.empty() || system->model.empty() ? "" : " ");
    identity.model += system->model;
    identity.serial = system->serial_number;
    identity.bios = system->bios_version;
  }
  if (const Model::System* const manager = SystemOfKind(inventory, "manager")) {
    identity.bmc = manager->firmware_version;
  }
  identity.bios = identity.bios.empty() ? FirmwareOfKind(inventory, "bios") : identity.bios;
  identity.bmc = identity.bmc.empty() ? FirmwareOfKind(inventory, "bmc") : identity.bmc;
  return identity;
}

using Versions = std::vector<std::pair<std::string, std::string>>;

Versions VersionsOf(const Model::Inventory& inventory, const Identity& identity) {
  Versions versions = {{"BIOS", identity.bios}, {"BMC", identity.bmc}};
  for (const Model::Firmware& firmware : inventory.firmware) {
    if (versions.size() < kMostFirmware && !firmware.name.empty()) {
      versions.emplace_back(firmware.name, firmware.version);
    }
  }
  versions.erase(std::remove_if(versions.begin(), versions.end(), [](const auto& pair) { return pair.second.empty(); }),
                 versions.end());
  return versions;
}

void WriteIf(CompactJson& writer, const char* key, const std::string& text) {
  if (!text.empty()) {
    WriteMember(writer, key, text);
  }
}

void WriteReasons(CompactJson& writer, const Model::Verdict& verdict) {
  writer.Key("reasons");
  writer.StartArray();
  for (std::size_t number = 0; number < std::min(verdict.reasons.size(), kMostReasons); ++number) {
    writer.StartObject();
    WriteMember(writer, "health", Model::NameOf(verdict.reasons[number].health));
    WriteMember(writer, "text", verdict.reasons[number].text);
    writer.EndObject();
  }
  writer.EndArray();
}

void WriteVersions(CompactJson& writer, const Versions& versions) {
  writer.Key("firmware");
  writer.StartArray();
  for (const auto& [name, version] : versions) {
    writer.StartArray();
    WriteText(writer, name);
    WriteText(writer, version);
    writer.EndArray();
  }
  writer.EndArray();
}

}  // namespace

std::string SummaryJson(const InventoryReport& report) {
  const Model::Inventory& inventory = report.inventory;
  const Identity identity = IdentityOf(inventory);
  const auto events = std::count_if(
      inventory.log_entries.begin(), inventory.log_entries.end(),
      [](const Model::LogEntry& entry) { return entry.severity == "critical" && !entry.resolved.value_or(false); });
  JsonBuffer buffer;
  CompactJson writer(buffer);
  writer.StartObject();
  WriteMember(writer, "target", report.target);
  WriteMember(writer, "status", NameOf(report.code));
  WriteMember(writer, "health", Model::NameOf(report.verdict.health));
  WriteIf(writer, "error", report.error);
  WriteIf(writer, "name", identity.name);
  WriteIf(writer, "model", identity.model);
  WriteIf(writer, "serial", identity.serial);
  WriteIf(writer, "bios", identity.bios);
  WriteIf(writer, "bmc", identity.bmc);
  WriteIf(writer, "worst", report.verdict.reasons.empty() ? std::string() : report.verdict.reasons.front().text);
  writer.Key("events");
  writer.Int64(events);
  WriteReasons(writer, report.verdict);
  WriteVersions(writer, VersionsOf(inventory, identity));
  writer.EndObject();
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace Kelvar::Tool
