#include <algorithm>
#include <unordered_map>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::Sensor;

/// What the first record lacks and the second one, of the same sensor, has.
void Fill(Sensor& into, const Sensor& from) {
  if (into.unit.empty() || into.kind == "other") {
    into.kind = from.kind;
  }
  FillOne(into.unit, from.unit);
  if (from.state != "absent" || !into.reading) {
    FillOne(into.state, from.state);
  }
  FillOne(into.context, from.context);
  if (into.state == "absent") {
    return;
  }
  FillOne(into.health, from.health);
  FillOne(into.health_text, from.health_text);
  for (const auto member :
       {&Sensor::reading, &Sensor::lower_fatal, &Sensor::lower_critical, &Sensor::lower_caution, &Sensor::upper_caution,
        &Sensor::upper_critical, &Sensor::upper_fatal, &Sensor::range_min, &Sensor::range_max}) {
    FillOne(into.*member, from.*member);
  }
}

using Source = Collected::Source;

/// In what ways a sensor has been shown. Two that are shown in the same way are two sensors, whatever their names: the
/// name may be that of the device that both are of.
enum ShowingWay : u8 { AsRow = 1, AsExcerptOfPart = 2, AsExcerptOfChassis = 4, AsExcerpt = 6 };

/// "chassis/1" of "Chassis/1/Thermal#/Temperatures/0", "powerequipment/rackpdus/1" of one of a PDU.
std::string UnitOf(std::string_view id) {
  const std::string lower = Lower(id);
  auto end = lower.find('/', lower.find('/') + 1);
  if (end != std::string::npos && lower.rfind("chassis/", 0) != 0) {
    end = lower.find('/', end + 1);
  }
  return lower.substr(0, end);
}

/// The sensors that are kept, found by id and by name within their chassis.
class Kept {
 public:
  explicit Kept(const Collected& from) : from_(from) {}

  Sensor* SameId(const Sensor& sensor) {
    const auto found = byId_.find(Lower(sensor.id));
    return found == byId_.end() ? nullptr : &sensors[found->second];
  }

  Sensor* SameName(const Collected::Reading& reading) {
    const Sensor& sensor = reading.record;
    const auto found = sensor.name.empty() ? byName_.end() : byName_.find(NameKey(sensor));
    if (found == byName_.end()) {
      return nullptr;
    }
    const u8 shown = ShownAs(reading);
    for (Named& named : found->second) {
      Sensor& known = sensors[named.index];
      const bool sameUnit = known.unit.empty() || sensor.unit.empty() || known.unit == sensor.unit;
      if (sameUnit && (named.shown & shown) == 0) {
        named.shown |= shown;
        return &known;
      }
    }
    return nullptr;
  }

  void Add(Collected::Reading reading) {
    const u8 shown = ShownAs(reading);
    Sensor& sensor = reading.record;
    sensor.parent = from_.PlaceAbove(sensor.id);
    byId_.emplace(Lower(sensor.id), sensors.size());
    std::vector<Named>* const alike = reading.isNamed ? &byName_[NameKey(sensor)] : nullptr;
    if (alike != nullptr && alike->size() < kMostAlike) {
      alike->push_back({sensors.size(), shown});
    }
    sensors.push_back(std::move(sensor));
  }

  std::vector<Sensor> sensors;

 private:
  static std::string NameKey(const Sensor& sensor) { return UnitOf(sensor.id) + '\n' + sensor.name; }

  u8 ShownAs(const Collected::Reading& reading) const {
    if (reading.source != Source::Excerpt) {
      return reading.source == Source::Legacy ? AsRow : 0;
    }
    const std::string unit = UnitOf(reading.holder);
    const bool ofUnit = Lower(from_.PlaceAbove(reading.holder + "/")) == unit;
    return !ofUnit ? AsExcerptOfPart : unit.rfind("chassis/", 0) == 0 ? AsExcerptOfChassis : AsExcerpt;
  }

  static constexpr std::size_t kMostAlike = 256;  // sensors of one name that are looked through

  struct Named {
    std::size_t index;
    u8 shown;  ///< so far
  };

  const Collected& from_;
  std::unordered_map<std::string, std::size_t> byId_;
  std::unordered_map<std::string, std::vector<Named>> byName_;
};

}  // namespace

void FinishSensors(Collected& from) {
  DropFormerRedundancy(from);
  // By id, so that the order in which responses came decides nothing.
  std::stable_sort(
      from.readings.begin(), from.readings.end(), [](const Collected::Reading& left, const Collected::Reading& right) {
        return left.source != right.source ? left.source < right.source : NaturalLess(left.record.id, right.record.id);
      });
  Kept kept(from);
  for (Collected::Reading& reading : from.readings) {
    Sensor& sensor = reading.record;
    const bool byName = reading.source == Source::Legacy || (reading.source == Source::Excerpt && reading.isNamed);
    Sensor* known = kept.SameId(sensor);
    known = known == nullptr && byName ? kept.SameName(reading) : known;
    if (known == nullptr) {
      kept.Add(std::move(reading));
    } else if (reading.source != Source::Own) {
      Fill(*known, sensor);
    }
  }
  from.inventory->sensors = std::move(kept.sensors);
  std::stable_sort(from.inventory->sensors.begin(), from.inventory->sensors.end(),
                   [](const Sensor& left, const Sensor& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
