#include <algorithm>
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

/// Whether a row of a former schema and a resource are one thing, among those of one chassis.
bool IsSameRow(const Component& row, const Component& resource) {
  if (!row.serial_number.empty() && !resource.serial_number.empty()) {
    return row.serial_number == resource.serial_number;
  }
  return !row.name.empty() && row.name == resource.name;
}

void Remove(Parts& parts, const std::set<const Component*>& doubles) {
  parts.erase(std::remove_if(parts.begin(), parts.end(),
                             [&](const Collected::Part& part) { return doubles.count(&part.record) != 0; }),
              parts.end());
}

/// Power supplies and fans that a chassis shows both as resources and as rows of Power and Thermal. Where not a single
/// row fits a resource, the two count things differently, and the resources hold.
void JoinRows(Parts& parts, std::string_view kind) {
  std::set<const Component*> doubles;
  std::set<std::string> chassis;  // with resources of the kind
  std::set<std::string> joined;   // where some row fits
  for (const Collected::Part& part : parts) {
    if (part.record.kind == kind && !part.legacy) {
      chassis.insert(TopOf(part.record.id));
    }
  }
  std::set<const Component*> taken;
  for (const Collected::Part& row : parts) {
    const std::string top = TopOf(row.record.id);
    if (row.record.kind != kind || !row.legacy || chassis.count(top) == 0) {
      continue;
    }
    const auto same = std::find_if(parts.begin(), parts.end(), [&](const Collected::Part& part) {
      return !part.legacy && part.record.kind == kind && TopOf(part.record.id) == top &&
             taken.count(&part.record) == 0 && IsSameRow(row.record, part.record);
    });
    if (same != parts.end()) {
      Fill(same->record, row.record);
      taken.insert(&same->record);
      doubles.insert(&row.record);
      joined.insert(top);
    }
  }
  for (const Collected::Part& row : parts) {
    const std::string top = TopOf(row.record.id);
    if (row.record.kind == kind && row.legacy && chassis.count(top) != 0 && joined.count(top) == 0) {
      doubles.insert(&row.record);
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

/// Drives that stand both in a storage and in a chassis.
void JoinDrives(Parts& parts) {
  std::set<const Component*> doubles;
  for (const Collected::Part& inChassis : parts) {
    if (inChassis.record.kind != "drive" || TopOf(inChassis.record.id).rfind("chassis/", 0) != 0) {
      continue;
    }
    const auto same = std::find_if(parts.begin(), parts.end(), [&](const Collected::Part& part) {
      return part.record.kind == "drive" && TopOf(part.record.id).rfind("chassis/", 0) != 0 &&
             doubles.count(&part.record) == 0 && IsSameDrive(part.record, inChassis.record);
    });
    if (same == parts.end()) {
      continue;
    }
    if (same->record.state == "absent") {
      same->record.state.clear();
    }
    Fill(same->record, inChassis.record);
    doubles.insert(&inChassis.record);
  }
  Remove(parts, doubles);
}

void SetParent(const Collected& from, Component& component) {
  const auto around = from.containedBy.find(Lower(component.id));
  component.parent = around != from.containedBy.end() ? from.SpellingOf(around->second) : from.PlaceAbove(component.id);
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
  JoinDrives(from.parts);
  auto& components = from.inventory->components;
  for (Collected::Part& part : from.parts) {
    Component& component = part.record;
    SetParent(from, component);
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
