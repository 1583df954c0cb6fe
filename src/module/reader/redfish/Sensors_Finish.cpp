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

/// The sensors that are kept, found by id and by name within their chassis.
class Kept {
 public:
  explicit Kept(const Collected& from) : from_(from) {}

  Sensor* SameId(const Sensor& sensor) {
    const auto found = byId_.find(Lower(sensor.id));
    return found == byId_.end() ? nullptr : &sensors[found->second];
  }

  Sensor* SameName(const Sensor& sensor, Source source) {
    const auto found = sensor.name.empty() ? byName_.end() : byName_.find(NameKey(sensor));
    if (found == byName_.end()) {
      return nullptr;
    }
    for (Named& named : found->second) {
      Sensor& known = sensors[named.index];
      const bool sameUnit = known.unit.empty() || sensor.unit.empty() || known.unit == sensor.unit;
      // Rows of one list may share a name: each of them is a sensor.
      if (sameUnit && !(source == Source::Legacy && (named.source == Source::Legacy || named.hasRow))) {
        named.hasRow = source == Source::Legacy;
        return &known;
      }
    }
    return nullptr;
  }

  void Add(Sensor sensor, Source source, bool named) {
    sensor.parent = from_.PlaceAbove(sensor.id);
    byId_.emplace(Lower(sensor.id), sensors.size());
    if (named) {
      byName_[NameKey(sensor)].push_back({sensors.size(), source});
    }
    sensors.push_back(std::move(sensor));
  }

  std::vector<Sensor> sensors;

 private:
  std::string NameKey(const Sensor& sensor) const {
    const auto second = sensor.id.find('/', sensor.id.find('/') + 1);
    return Lower(std::string_view(sensor.id).substr(0, second)) + '\n' + sensor.name;
  }

  struct Named {
    std::size_t index;
    Source source;
    bool hasRow = false;  ///< a row of Thermal or Power has been joined with it
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
    known = known == nullptr && byName ? kept.SameName(sensor, reading.source) : known;
    if (known == nullptr) {
      kept.Add(std::move(sensor), reading.source, reading.isNamed);
    } else if (reading.source != Source::Own) {
      Fill(*known, sensor);
    }
  }
  from.inventory->sensors = std::move(kept.sensors);
  std::stable_sort(from.inventory->sensors.begin(), from.inventory->sensors.end(),
                   [](const Sensor& left, const Sensor& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
