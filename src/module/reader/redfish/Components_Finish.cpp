#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::Component;

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

constexpr std::array<std::string Component::*, 3> kNumbers = {&Component::model, &Component::part_number,
                                                              &Component::serial_number};

/// "chassis/1" of "Chassis/1/Thermal#/Fans/0".
std::string TopOf(std::string_view id) {
  const auto first = id.find('/');
  const auto second = first == std::string_view::npos ? first : id.find('/', first + 1);
  return Lower(id.substr(0, second));
}

/// Whether something of a system may be in a chassis: not where the chassis is told to be that of other systems.
bool MayHold(const Collected& from, std::string_view ofSystem, std::string_view inChassis) {
  const auto systems = from.systemsOf.find(TopOf(inChassis));
  return systems == from.systemsOf.end() || systems->second.count(TopOf(ofSystem)) != 0;
}

bool IsIn(const Component& component, std::string_view folder) {
  return ('/' + Lower(component.id)).find(folder) != std::string::npos;
}

using Doubles = std::map<const Component*, std::string>;  ///< what is left out, and the id that stands for it

void Remove(Collected& from, const Doubles& doubles) {
  for (const auto& [part, id] : doubles) {
    from.joined[part->id] = id;
  }
  from.parts.erase(std::remove_if(from.parts.begin(), from.parts.end(),
                                  [&](const Collected::Part& part) { return doubles.count(&part.record) != 0; }),
                   from.parts.end());
}

/// What one chassis shows of a kind: as resources, and as rows of Power or Thermal.
struct Shown {
  std::vector<Component*> resources;
  std::vector<Component*> rows;
};

/// The resources of a chassis that its rows may be doubles of: by serial number, and where one of the two has none by a
/// name that nothing else has.
class RowMatcher {
 public:
  explicit RowMatcher(const Shown& shown) : resources_(shown.resources) {
    for (const Component* const row : shown.rows) {
      ++rowsOf_[row->name];
    }
    for (std::size_t position = 0; position < resources_.size(); ++position) {
      positionsOf_[resources_[position]->name].push_back(position);
      if (!resources_[position]->serial_number.empty()) {
        bySerial_.emplace(resources_[position]->serial_number, position);
      }
    }
  }

  /// The first resource that is the same thing as the row and that no other row has taken; null when there is none.
  Component* Take(const Component& row) {
    const std::size_t position = std::min(NumberedLike(row), NamedLike(row));
    if (position == kNone) {
      return nullptr;
    }
    taken_.insert(position);
    return resources_[position];
  }

  bool AnyTaken() const { return !taken_.empty(); }

 private:
  static constexpr std::size_t kNone = ~std::size_t{0};

  std::size_t NumberedLike(const Component& row) {
    auto [first, last] = bySerial_.equal_range(row.serial_number);
    while (first != last && taken_.count(first->second) != 0) {
      first = bySerial_.erase(first);
    }
    return first == last ? kNone : first->second;
  }

  /// A name tells things apart only where it is the only one.
  std::size_t NamedLike(const Component& row) const {
    const auto named = positionsOf_.find(row.name);
    if (row.name.empty() || named == positionsOf_.end() || named->second.size() != 1 || rowsOf_.at(row.name) != 1) {
      return kNone;
    }
    const std::size_t position = named->second.front();
    const bool numbered = !row.serial_number.empty() && !resources_[position]->serial_number.empty();
    return numbered || taken_.count(position) != 0 ? kNone : position;
  }

  const std::vector<Component*>& resources_;
  std::map<std::string, int> rowsOf_;
  std::map<std::string, std::vector<std::size_t>> positionsOf_;  ///< by name
  std::multimap<std::string, std::size_t> bySerial_;
  std::set<std::size_t> taken_;
};

/// Rows are doubles of resources by serial number or name. Where not a single row fits, the two name things in
/// different ways, and where there are as many of both, they show the same: then the resources hold alone.
void JoinRows(const Shown& shown, Doubles& doubles) {
  RowMatcher matcher(shown);
  for (const Component* const row : shown.rows) {
    if (Component* const same = matcher.Take(*row)) {
      Fill(*same, *row);
      doubles[row] = same->id;
    }
  }
  if (!matcher.AnyTaken() || shown.rows.size() == shown.resources.size()) {
    for (const Component* const row : shown.rows) {
      doubles.emplace(row, "");
    }
  }
}

void JoinRows(Collected& from, std::string_view kind) {
  std::map<std::string, Shown> byChassis;
  for (Collected::Part& part : from.parts) {
    if (part.record.kind == kind) {
      Shown& shown = byChassis[TopOf(part.record.id)];
      (part.shape == Collected::Shape::Row ? shown.rows : shown.resources).push_back(&part.record);
    }
  }
  Doubles doubles;
  for (const auto& [chassis, shown] : byChassis) {
    if (!shown.resources.empty()) {
      JoinRows(shown, doubles);
    }
  }
  Remove(from, doubles);
}

std::string SimpleStorageOf(const Component& component) {
  const std::string id = Lower(component.id);
  return IsIn(component, "/simplestorage/") ? id.substr(0, id.find('#')) : std::string();
}

/// The drives that are told elsewhere than in a SimpleStorage, by model and by name.
class KnownDrives {
 public:
  explicit KnownDrives(const Collected& from) {
    for (const Collected::Part& part : from.parts) {
      if (part.record.kind == "drive" && !IsIn(part.record, "/simplestorage/")) {
        byModel_[part.record.model].insert(part.record.capacity_bytes);
        byName_[part.record.name].insert(part.record.capacity_bytes);
      }
    }
  }

  /// Whether one of them may be the device.
  bool Have(const Component& device) const {
    return Has(byModel_, device.model, device.capacity_bytes) || Has(byName_, device.name, device.capacity_bytes);
  }

 private:
  using Capacities = std::set<std::optional<u64>>;

  static bool Has(const std::map<std::string_view, Capacities>& drives, std::string_view text,
                  const std::optional<u64>& capacity) {
    const auto found = text.empty() ? drives.end() : drives.find(text);
    return found != drives.end() &&
           (!capacity || found->second.count(capacity) != 0 || found->second.count(std::nullopt) != 0);
  }

  std::map<std::string_view, Capacities> byModel_;
  std::map<std::string_view, Capacities> byName_;
};

/// Each SimpleStorage with a device that no other place tells.
std::set<std::string> SimpleStoragesThatShowMore(const Collected& from) {
  const KnownDrives known(from);
  std::set<std::string> result;
  for (const Collected::Part& part : from.parts) {
    const Component& device = part.record;
    const bool isDevice = device.kind == "drive" && device.id.find('#') != std::string::npos;
    if (isDevice && device.state != "absent" && !(device.model.empty() && device.name.empty()) && !known.Have(device)) {
      result.insert(SimpleStorageOf(device));
    }
  }
  return result;
}

/// StorageControllers[] where the same Storage has Controllers, SimpleStorage where a Storage of the same system shows
/// the same.
void DropFormerStorage(Collected& from) {
  std::set<std::string> storages;
  std::set<std::string> systems;
  for (const Collected::Part& part : from.parts) {
    const bool ofStorage = IsIn(part.record, "/storage/");
    if (ofStorage && part.shape == Collected::Shape::Resource && part.record.kind == "storage_controller") {
      storages.insert(Lower(Above(Above(part.record.id))));
    }
    if (ofStorage && (part.record.kind == "drive" || part.record.kind == "storage_controller")) {
      systems.insert(TopOf(part.record.id));
    }
  }
  const std::set<std::string> needed = SimpleStoragesThatShowMore(from);
  const auto isFormer = [&](const std::string& simple) {
    const std::string storage = TopOf(simple) + "/storage/" + std::string(LastSegment(simple));
    return !simple.empty() && systems.count(TopOf(simple)) != 0 &&
           (from.storages.count(storage) != 0 || needed.count(simple) == 0);
  };
  Doubles doubles;
  for (const Collected::Part& part : from.parts) {
    const std::string id = Lower(part.record.id);
    const bool controllerRow = part.record.kind == "storage_controller" && part.shape == Collected::Shape::Row;
    if ((controllerRow && storages.count(id.substr(0, id.find('#'))) != 0) || isFormer(SimpleStorageOf(part.record))) {
      doubles.emplace(&part.record, "");
    }
  }
  Remove(from, doubles);
}

bool IsSameDrive(const Collected& from, const Component& storage, const Component& chassis) {
  if (!storage.serial_number.empty() && !chassis.serial_number.empty()) {
    return storage.serial_number == chassis.serial_number &&
           (storage.model.empty() || chassis.model.empty() || storage.model == chassis.model);
  }
  // A bay whose drive is told elsewhere.
  return storage.serial_number.empty() && (storage.state == "absent" || chassis.state == "absent") &&
         LastSegment(storage.id) == LastSegment(chassis.id) && MayHold(from, storage.id, chassis.id);
}

/// A drive or power supply that several chassis list: it is that of the first one.
void JoinListedBySeveral(const std::vector<Component*>& parts, Doubles& doubles) {
  std::map<std::pair<std::string_view, std::string_view>, Component*> first;
  for (Component* const part : parts) {
    if (doubles.count(part) != 0 || part->serial_number.empty() || part->model.empty()) {
      continue;
    }
    const auto [known, isNew] =
        first.emplace(std::pair<std::string_view, std::string_view>(part->serial_number, part->model), part);
    if (!isNew && TopOf(known->second->id) != TopOf(part->id)) {
      Fill(*known->second, *part);
      doubles[part] = known->second->id;
    }
  }
}

/// How many chassis are around that of a part.
std::size_t DepthOf(const Collected& from, std::string_view id) {
  constexpr std::size_t kMost = 16;
  std::size_t depth = 0;
  for (auto around = from.containedBy.find(TopOf(id)); around != from.containedBy.end() && depth < kMost; ++depth) {
    around = from.containedBy.find(Lower(around->second));
  }
  return depth;
}

/// Supplies that an enclosure shares out are listed by what is in it, too.
void JoinSharedSupplies(Collected& from) {
  std::vector<std::pair<std::size_t, Component*>> supplies;
  for (Collected::Part& part : from.parts) {
    if (part.record.kind == "power_supply") {
      supplies.emplace_back(DepthOf(from, part.record.id), &part.record);
    }
  }
  std::sort(supplies.begin(), supplies.end(), [](const auto& left, const auto& right) {
    return left.first != right.first ? left.first < right.first : NaturalLess(left.second->id, right.second->id);
  });
  std::vector<Component*> outermostFirst;
  std::transform(supplies.begin(), supplies.end(), std::back_inserter(outermostFirst),
                 [](const auto& supply) { return supply.second; });
  Doubles doubles;
  JoinListedBySeveral(outermostFirst, doubles);
  Remove(from, doubles);
}

/// Drives that both a storage and a chassis list.
void JoinDrives(Collected& from) {
  std::multimap<std::string_view, Component*> inStorage;  // by serial number, or the last segment where there is none
  std::vector<Component*> inChassis;
  for (Collected::Part& part : from.parts) {
    Component& drive = part.record;
    if (drive.kind != "drive") {
      continue;
    }
    if (TopOf(drive.id).rfind("chassis/", 0) == 0) {
      inChassis.push_back(&drive);
    } else {
      inStorage.emplace(drive.serial_number.empty() ? LastSegment(drive.id) : std::string_view(drive.serial_number),
                        &drive);
    }
  }
  std::sort(inChassis.begin(), inChassis.end(),
            [](const Component* left, const Component* right) { return NaturalLess(left->id, right->id); });
  Doubles doubles;
  for (Component* const drive : inChassis) {
    for (const std::string_view key : {std::string_view(drive->serial_number), LastSegment(drive->id)}) {
      const auto [first, last] = inStorage.equal_range(key);
      const auto same = key.empty() ? last : std::find_if(first, last, [&](const auto& entry) {
        return IsSameDrive(from, *entry.second, *drive);
      });
      if (same == last) {
        continue;
      }
      if (same->second->state == "absent") {
        same->second->state.clear();
      }
      Fill(*same->second, *drive);
      doubles[drive] = same->second->id;
      inStorage.erase(same);
      break;
    }
  }
  JoinListedBySeveral(inChassis, doubles);
  Remove(from, doubles);
}

/// "pcie_device pciedevices/3 SN1" of "Systems/1/PCIeDevices/3".
std::string TwinKey(const Component& component) {
  const std::string_view folder = LastSegment(Above(component.id));
  return component.kind + ' ' + Lower(folder) + '/' + Lower(LastSegment(component.id)) + ' ' + component.serial_number;
}

bool IsTwin(const Collected& from, const Component& ofChassis, const Component& ofSystem) {
  const bool isHere = !ofChassis.serial_number.empty() || MayHold(from, ofSystem.id, ofChassis.id);
  return isHere && ofChassis.name == ofSystem.name && ofChassis.model == ofSystem.model;
}

struct Twins {
  std::vector<Component*> ofChassis;
  std::vector<Component*> ofSystems;
};

void JoinTwins(const Collected& from, const Twins& twins, Doubles& doubles) {
  for (Component* const one : twins.ofChassis) {
    const auto isIts = [&](const Component* other) { return doubles.count(other) == 0 && IsTwin(from, *one, *other); };
    const auto& others = twins.ofSystems;
    if (std::count_if(others.begin(), others.end(), isIts) == 1) {
      Component* const other = *std::find_if(others.begin(), others.end(), isIts);
      Fill(*one, *other);
      doubles[other] = one->id;
    }
  }
}

/// Devices that a service has below its system and below its chassis, each with a path of its own.
void JoinTwins(Collected& from) {
  constexpr std::array<std::string_view, 5> kOfBoth = {"processor", "gpu", "memory", "network_adapter", "pcie_device"};
  std::map<std::string, Twins> all;
  for (Collected::Part& part : from.parts) {
    if (std::find(kOfBoth.begin(), kOfBoth.end(), part.record.kind) != kOfBoth.end()) {
      Twins& twins = all[TwinKey(part.record)];
      const bool inChassis = TopOf(part.record.id).rfind("chassis/", 0) == 0;
      (inChassis ? twins.ofChassis : twins.ofSystems).push_back(&part.record);
    }
  }
  Doubles doubles;
  constexpr std::size_t kMost = 1000;  // with the same number, which no machine has
  for (const auto& [key, twins] : all) {
    if (twins.ofChassis.size() + twins.ofSystems.size() <= kMost) {
      JoinTwins(from, twins, doubles);
    }
  }
  Remove(from, doubles);
}

/// Whether two records can be of one part: no number of the one contradicts the other.
bool MayBeSame(const Component& left, const Component& right) {
  return std::all_of(kNumbers.begin(), kNumbers.end(), [&](const auto member) {
    return (left.*member).empty() || (right.*member).empty() || left.*member == right.*member;
  });
}

/// The one row of the assembly of a fan or power supply is that part once more.
void JoinAssemblies(Collected& from) {
  std::map<std::string_view, Component*> holders;
  std::map<std::string_view, std::size_t> rows;  // by their list
  for (Collected::Part& part : from.parts) {
    if (part.record.kind == "fan" || part.record.kind == "power_supply") {
      holders.emplace(part.record.id, &part.record);
    }
    rows[Above(part.record.id)] += part.shape == Collected::Shape::Assembly ? 1U : 0U;
  }
  Doubles doubles;
  for (const Collected::Part& part : from.parts) {
    const Component& row = part.record;
    const bool isOnly = part.shape == Collected::Shape::Assembly && rows[Above(row.id)] == 1;
    const auto holder = isOnly ? holders.find(from.PlaceAbove(row.id)) : holders.end();
    if (holder != holders.end() && MayBeSame(*holder->second, row)) {
      Fill(*holder->second, row);
      doubles.emplace(&row, holder->second->id);
    }
  }
  Remove(from, doubles);
}

/// Rows of assemblies that say nothing new of something else with the same serial number, or of their own chassis.
void DropKnownAssemblies(Collected& from) {
  // The chassis or the serial number that it is of, the model and the part number. Either may be left out. The texts
  // are as long as a service likes: they stay where they are.
  using Said = std::tuple<bool, std::string_view, std::string_view, std::string_view>;
  constexpr bool kOfChassis = true;
  std::map<Said, const Component*> known;
  const auto note = [&known](bool ofChassis, const std::string& of, const Component& record) {
    for (const std::string_view model : {std::string_view(record.model), std::string_view()}) {
      known.emplace(Said(ofChassis, of, model, record.part_number), &record);
      known.emplace(Said(ofChassis, of, model, {}), &record);
    }
  };
  for (const Collected::Part& part : from.parts) {
    if (part.shape != Collected::Shape::Assembly && !part.record.serial_number.empty()) {
      note(!kOfChassis, part.record.serial_number, part.record);
    }
    if (part.record.kind == "chassis") {
      note(kOfChassis, part.record.id, part.record);
    }
  }
  Doubles doubles;
  for (const Collected::Part& part : from.parts) {
    const Component& row = part.record;
    if (part.shape != Collected::Shape::Assembly) {
      continue;
    }
    const bool ofChassis = row.serial_number.empty();
    const std::string of = ofChassis ? from.PlaceAbove(row.id) : row.serial_number;
    auto same = known.find({ofChassis, of, row.model, row.part_number});
    if (same == known.end() && !ofChassis && !row.part_number.empty()) {  // two numbers are enough
      same = known.find({ofChassis, of, {}, row.part_number});
    }
    if (same != known.end()) {
      doubles.emplace(&row, same->second->id);
    }
  }
  Remove(from, doubles);
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
  const bool isContained =
      around != from.containedBy.end() && from.places.count(Lower(around->second)) != 0 && !IsInItself(from, id);
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
  JoinRows(from, "power_supply");
  JoinRows(from, "fan");
  JoinSharedSupplies(from);
  DropFormerStorage(from);
  JoinDrives(from);
  JoinTwins(from);
  JoinAssemblies(from);
  DropKnownAssemblies(from);
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
