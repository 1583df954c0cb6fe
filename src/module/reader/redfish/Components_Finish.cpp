#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::Component;
using Parts = std::vector<Collected::Part>;

template <typename Value>
void FillOne(Value& into, const Value& from) {
  if (into == Value()) {
    into = from;
  }
}

/// What the first record lacks and the second one, of the same thing, has.
void Fill(Component& into, const Component& from) {
  for (const auto member :
       {&Component::name, &Component::location, &Component::manufacturer, &Component::model, &Component::part_number,
        &Component::spare_part_number, &Component::serial_number, &Component::asset_tag, &Component::firmware_version,
        &Component::media, &Component::protocol, &Component::mac_address, &Component::state, &Component::health_text}) {
    FillOne(into.*member, from.*member);
  }
  if (into.state != "absent") {
    FillOne(into.health, from.health);
  }
  FillOne(into.capacity_bytes, from.capacity_bytes);
  FillOne(into.cores, from.cores);
  FillOne(into.threads, from.threads);
  for (const auto member : {&Component::speed_mhz, &Component::speed_mbps, &Component::predicted_life_left_percent,
                            &Component::power_capacity_watts}) {
    FillOne(into.*member, from.*member);
  }
}

/// "chassis/1" of "Chassis/1/Thermal#/Fans/0".
std::string TopOf(std::string_view id) {
  const auto first = id.find('/');
  const auto second = first == std::string_view::npos ? first : id.find('/', first + 1);
  return Lower(id.substr(0, second));
}

bool IsIn(const Component& component, std::string_view folder) {
  return ('/' + Lower(component.id)).find(folder) != std::string::npos;
}

void Remove(Parts& parts, const std::set<const Component*>& doubles) {
  parts.erase(std::remove_if(parts.begin(), parts.end(),
                             [&](const Collected::Part& part) { return doubles.count(&part.record) != 0; }),
              parts.end());
}

/// What one chassis shows of a kind: as resources, and as rows of Power or Thermal.
struct Shown {
  std::vector<Component*> resources;
  std::vector<Component*> rows;
};

/// A name tells things apart only where it is the only one.
bool IsAlone(const std::vector<Component*>& among, const std::string& name) {
  return std::count_if(among.begin(), among.end(), [&](const Component* one) { return one->name == name; }) == 1;
}

bool IsSameRow(const Shown& shown, const Component& row, const Component& resource) {
  if (!row.serial_number.empty() && !resource.serial_number.empty()) {
    return row.serial_number == resource.serial_number;
  }
  return !row.name.empty() && row.name == resource.name && IsAlone(shown.rows, row.name) &&
         IsAlone(shown.resources, row.name);
}

/// Rows are doubles of resources by serial number or name. Where not a single row fits, the two name things in
/// different ways, and where there are as many of both, they show the same: then the resources hold alone.
void JoinRows(const Shown& shown, std::set<const Component*>& doubles) {
  std::set<const Component*> taken;
  for (Component* const row : shown.rows) {
    const auto same = std::find_if(shown.resources.begin(), shown.resources.end(), [&](const Component* resource) {
      return taken.count(resource) == 0 && IsSameRow(shown, *row, *resource);
    });
    if (same != shown.resources.end()) {
      Fill(**same, *row);
      taken.insert(*same);
      doubles.insert(row);
    }
  }
  if (taken.empty() || shown.rows.size() == shown.resources.size()) {
    doubles.insert(shown.rows.begin(), shown.rows.end());
  }
}

void JoinRows(Parts& parts, std::string_view kind) {
  std::map<std::string, Shown> byChassis;
  for (Collected::Part& part : parts) {
    if (part.record.kind == kind) {
      Shown& shown = byChassis[TopOf(part.record.id)];
      (part.legacy ? shown.rows : shown.resources).push_back(&part.record);
    }
  }
  std::set<const Component*> doubles;
  for (const auto& [chassis, shown] : byChassis) {
    if (!shown.resources.empty()) {
      JoinRows(shown, doubles);
    }
  }
  Remove(parts, doubles);
}

/// StorageControllers[] where the same Storage has Controllers, SimpleStorage where the same system has a Storage.
void DropFormerStorage(Parts& parts) {
  std::set<std::string> storages;
  std::set<std::string> systems;
  for (const Collected::Part& part : parts) {
    const bool ofStorage = IsIn(part.record, "/storage/");
    if (ofStorage && !part.legacy && part.record.kind == "storage_controller") {
      storages.insert(Lower(Above(Above(part.record.id))));
    }
    if (ofStorage && (part.record.kind == "drive" || part.record.kind == "storage_controller")) {
      systems.insert(TopOf(part.record.id));
    }
  }
  std::set<const Component*> doubles;
  for (const Collected::Part& part : parts) {
    const std::string id = Lower(part.record.id);
    const bool controllerRow = part.record.kind == "storage_controller" && part.legacy;
    const auto hash = id.find('#');
    if ((controllerRow && storages.count(id.substr(0, hash)) != 0) ||
        (IsIn(part.record, "/simplestorage/") && systems.count(TopOf(id)) != 0)) {
      doubles.insert(&part.record);
    }
  }
  Remove(parts, doubles);
}

bool IsSameDrive(const Component& storage, const Component& chassis) {
  if (!storage.serial_number.empty() && !chassis.serial_number.empty()) {
    return storage.serial_number == chassis.serial_number &&
           (storage.model.empty() || chassis.model.empty() || storage.model == chassis.model);
  }
  // A bay whose drive is told elsewhere.
  return storage.serial_number.empty() && (storage.state == "absent" || chassis.state == "absent") &&
         LastSegment(storage.id) == LastSegment(chassis.id);
}

/// A drive that several chassis list.
void JoinChassisDrives(Collected& from, const std::vector<Component*>& drives, std::set<const Component*>& doubles) {
  std::map<std::pair<std::string, std::string>, Component*> first;
  for (Component* const drive : drives) {
    if (doubles.count(drive) != 0 || drive->serial_number.empty() || drive->model.empty()) {
      continue;
    }
    const auto [known, isNew] = first.emplace(std::pair(drive->serial_number, drive->model), drive);
    if (!isNew && TopOf(known->second->id) != TopOf(drive->id)) {
      Fill(*known->second, *drive);
      from.joined[drive->id] = known->second->id;
      doubles.insert(drive);
    }
  }
}

/// Drives that stand both in a storage and in a chassis.
void JoinDrives(Collected& from) {
  Parts& parts = from.parts;
  std::multimap<std::string, Component*> inStorage;  // by serial number, or the last segment where there is none
  std::vector<Component*> inChassis;
  for (Collected::Part& part : parts) {
    Component& drive = part.record;
    if (drive.kind != "drive") {
      continue;
    }
    if (TopOf(drive.id).rfind("chassis/", 0) == 0) {
      inChassis.push_back(&drive);
    } else {
      inStorage.emplace(drive.serial_number.empty() ? LastSegment(drive.id) : drive.serial_number, &drive);
    }
  }
  std::sort(inChassis.begin(), inChassis.end(),
            [](const Component* left, const Component* right) { return NaturalLess(left->id, right->id); });
  std::set<const Component*> doubles;
  for (Component* const drive : inChassis) {
    for (const std::string& key : {drive->serial_number, std::string(LastSegment(drive->id))}) {
      const auto [first, last] = inStorage.equal_range(key);
      const auto same = key.empty() ? last : std::find_if(first, last, [&](const auto& entry) {
        return IsSameDrive(*entry.second, *drive);
      });
      if (same == last) {
        continue;
      }
      if (same->second->state == "absent") {
        same->second->state.clear();
      }
      Fill(*same->second, *drive);
      from.joined[drive->id] = same->second->id;
      inStorage.erase(same);
      doubles.insert(drive);
      break;
    }
  }
  JoinChassisDrives(from, inChassis, doubles);
  Remove(parts, doubles);
}

/// Whether a chassis is around itself, by one link or by several.
bool IsInItself(const Collected& from, const std::string& id) {
  std::string outer = id;
  for (std::size_t steps = 0; steps <= from.containedBy.size(); ++steps) {
    const auto around = from.containedBy.find(outer);
    if (around == from.containedBy.end()) {
      return false;
    }
    outer = Lower(around->second);
    if (outer == id) {
      return true;
    }
  }
  return false;  // it leads into a circle of others
}

void SetParent(const Collected& from, Component& component) {
  const std::string id = Lower(component.id);
  const auto around = from.containedBy.find(id);
  const bool isContained = around != from.containedBy.end() && !IsInItself(from, id);
  component.parent = isContained ? from.SpellingOf(around->second) : from.PlaceAbove(component.id);
}

int RankOf(std::string_view kind) {
  constexpr std::array<std::string_view, 14> kOrder = {
      "chassis",         "board",       "processor",    "gpu", "memory",  "storage_controller", "drive",
      "network_adapter", "pcie_device", "power_supply", "fan", "battery", "backplane",          "other"};
  return static_cast<int>(std::find(kOrder.begin(), kOrder.end(), kind) - kOrder.begin());
}

}  // namespace

void FinishComponents(Collected& from) {
  JoinRows(from.parts, "power_supply");
  JoinRows(from.parts, "fan");
  DropFormerStorage(from.parts);
  JoinDrives(from);
  if (!from.Wants(Model::Family::Components)) {
    return;
  }
  auto& components = from.inventory->components;
  for (Collected::Part& part : from.parts) {
    Component& component = part.record;
    SetParent(from, component);
    const auto slot = from.slotLabels.find(Lower(component.id));
    if (slot != from.slotLabels.end()) {
      FillOne(component.location, slot->second);
    }
    const auto ports = from.ports.find(Lower(component.id));
    if (ports != from.ports.end() && component.kind == "network_adapter") {
      FillOne(component.mac_address, ports->second.macAddress);
      FillOne(component.speed_mbps, ports->second.speedMbps);
    }
    components.push_back(std::move(component));
  }
  std::stable_sort(components.begin(), components.end(), [](const Component& left, const Component& right) {
    return RankOf(left.kind) != RankOf(right.kind) ? RankOf(left.kind) < RankOf(right.kind)
                                                   : NaturalLess(left.id, right.id);
  });
}

}  // namespace Kelvar::Reader
