#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Model::Sensor;

template <typename Value>
void FillOne(Value& into, const Value& from) {
  if (into == Value()) {
    into = from;
  }
}

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

/// The sensors that are kept, found by id and by name within their chassis.
class Kept {
 public:
  explicit Kept(const Collected& from) : from_(from) {}

  bool HasId(const Sensor& sensor) const { return byId_.count(Lower(sensor.id)) != 0; }

  Sensor* SameName(const Sensor& sensor) {
    if (sensor.name.empty()) {
      return nullptr;
    }
    const auto [first, last] = byName_.equal_range(NameKey(sensor));
    for (auto it = first; it != last; ++it) {
      Sensor& known = sensors[it->second];
      if (known.unit.empty() || sensor.unit.empty() || known.unit == sensor.unit) {
        return &known;
      }
    }
    return nullptr;
  }

  void Add(Sensor sensor, bool named) {
    sensor.parent = from_.PlaceAbove(sensor.id);
    byId_.insert(Lower(sensor.id));
    if (named) {
      byName_.emplace(NameKey(sensor), sensors.size());
    }
    sensors.push_back(std::move(sensor));
  }

  std::vector<Sensor> sensors;

 private:
  std::string NameKey(const Sensor& sensor) const {
    const auto second = sensor.id.find('/', sensor.id.find('/') + 1);
    return Lower(std::string_view(sensor.id).substr(0, second)) + '\n' + sensor.name;
  }

  const Collected& from_;
  std::set<std::string> byId_;
  std::unordered_multimap<std::string, std::size_t> byName_;
};

}  // namespace

void FinishSensors(Collected& from) {
  // By id, so that the order in which responses came decides nothing.
  std::stable_sort(
      from.readings.begin(), from.readings.end(), [](const Collected::Reading& left, const Collected::Reading& right) {
        return left.source != right.source ? left.source < right.source : NaturalLess(left.record.id, right.record.id);
      });
  Kept kept(from);
  for (Collected::Reading& reading : from.readings) {
    Sensor& sensor = reading.record;
    if (kept.HasId(sensor)) {
      continue;
    }
    const bool byName = reading.source == Collected::Source::Legacy ||
                        (reading.source == Collected::Source::Excerpt && reading.isNamed);
    if (Sensor* const known = byName ? kept.SameName(sensor) : nullptr) {
      Fill(*known, sensor);
      continue;
    }
    kept.Add(std::move(sensor), reading.isNamed);
  }
  from.inventory->sensors = std::move(kept.sensors);
  std::stable_sort(from.inventory->sensors.begin(), from.inventory->sensors.end(),
                   [](const Sensor& left, const Sensor& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
