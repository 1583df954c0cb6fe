#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include <kelvar/Inventory.h>

namespace Kelvar::Model {

namespace {

Health HealthOf(const Text& word) {
  return word == "critical"  ? Health::Critical
         : word == "warning" ? Health::Warning
         : word == "ok"      ? Health::Ok
                             : Health::Unknown;
}

/// As exact as a sensor is.
std::string NumberText(double value) {
  constexpr int kPrecision = 7;
  constexpr double kLarge = 1e7;
  std::array<char, 400> digits{};  // of any double
  char* const end = digits.data() + digits.size();
  const auto written = std::abs(value) < kLarge
                           ? std::to_chars(digits.data(), end, value, std::chars_format::general, kPrecision)
                           : std::to_chars(digits.data(), end, value, std::chars_format::fixed, 0);
  return {digits.data(), written.ptr};
}

/// A unit as people write it, after a blank; empty without one.
Text UnitText(const Text& ucum) {
  if (ucum.empty()) {
    return "";
  }
  return ' ' + (ucum == "{rev}/min" ? "rpm" : ucum == "Cel" ? "°C" : ucum == "[degF]" ? "°F" : ucum);
}

const Text& NameFor(const Text& name, const Text& id) {
  return name.empty() ? id : name;
}

/// What the target says of a health, with its own words where it has some.
template <typename Record>
Text HealthTextOf(const Record& record) {
  return "health " + record.health + (record.health_text.empty() ? "" : " (" + record.health_text + ")");
}

/// What is asserted says more than the health that follows from it.
Text StateTextOf(const Sensor& sensor) {
  Text text;
  for (const Text& state : sensor.states) {
    text += (text.empty() ? "" : ", ") + state;
  }
  return text.empty() ? HealthTextOf(sensor) : text;
}

struct Bound {
  const std::optional<double> Sensor::*limit;
  bool upper;
  Health health;
};

// The worst first: the first bound that is crossed tells.
constexpr std::array<Bound, 6> kBounds = {{
    {&Sensor::lower_fatal, false, Health::Critical},
    {&Sensor::upper_fatal, true, Health::Critical},
    {&Sensor::lower_critical, false, Health::Critical},
    {&Sensor::upper_critical, true, Health::Critical},
    {&Sensor::lower_caution, false, Health::Warning},
    {&Sensor::upper_caution, true, Health::Warning},
}};

/// The worst bound that the reading has crossed; null: none. What is off measures nothing.
const Bound* Crossed(const Sensor& sensor) {
  if (sensor.state == "unavailable_offline" || sensor.state == "standby_offline") {
    return nullptr;
  }
  const auto* const found = std::find_if(kBounds.begin(), kBounds.end(), [&](const Bound& bound) {
    const std::optional<double>& limit = sensor.*bound.limit;
    return limit && sensor.reading && (bound.upper ? *sensor.reading > *limit : *sensor.reading < *limit);
  });
  return found == kBounds.end() ? nullptr : &*found;
}

/// Nobody knows what the rest would have told; bad data, on the other hand, cost one record.
bool EndedEarly(const FamilyResult& result) {
  return result.status == FamilyStatus::Partial &&
         (result.cause == FailureCause::Deadline || result.cause == FailureCause::Unreachable);
}

constexpr const char* kLogs = "logs";

class Judgement {
 public:
  void Add(Health health, const char* family, const Text& id, Text text) {
    if (health == Health::Warning || health == Health::Critical) {
      verdict_.reasons.push_back({health, family, id, std::move(text)});
    }
  }

  template <typename Record>
  void AddState(const char* family, const Record& record) {
    if (record.state != "absent") {
      Add(HealthOf(record.health), family, record.id, NameFor(record.name, record.id) + ": " + HealthTextOf(record));
    }
  }

  void AddSensor(const Sensor& sensor) {
    const Health health = HealthOf(sensor);
    const Bound* const crossed = Crossed(sensor);
    const Text name = NameFor(sensor.name, sensor.id);
    if (crossed == nullptr) {
      Add(health, "sensors", sensor.id, name + ": " + StateTextOf(sensor));
      return;
    }
    Add(health, "sensors", sensor.id,
        name + ' ' + NumberText(*sensor.reading) + UnitText(sensor.unit) + (crossed->upper ? ", above " : ", below ") +
            NumberText(*(sensor.*crossed->limit)));
  }

  /// The same event told twice is one reason.
  void DropRepeated() {
    std::set<Text> known;
    const auto repeated = [&](const VerdictReason& reason) {
      return reason.family == kLogs && !known.insert(reason.text).second;
    };
    verdict_.reasons.erase(std::remove_if(verdict_.reasons.begin(), verdict_.reasons.end(), repeated),
                           verdict_.reasons.end());
  }

  /// Of parts with one name the id tells which one it is.
  void TellApart() {
    std::map<std::pair<Text, Text>, int> count;
    for (const VerdictReason& reason : verdict_.reasons) {
      ++count[{reason.family, reason.text}];
    }
    for (VerdictReason& reason : verdict_.reasons) {
      if (!reason.id.empty() && count[{reason.family, reason.text}] > 1) {
        reason.text += " (" + reason.id + ')';
      }
    }
  }

  Verdict Finish(bool understood) {
    std::stable_sort(verdict_.reasons.begin(), verdict_.reasons.end(),
                     [](const VerdictReason& left, const VerdictReason& right) { return left.health > right.health; });
    DropRepeated();
    TellApart();
    const bool wrong = !verdict_.reasons.empty() && verdict_.reasons.front().health > Health::Ok;
    verdict_.health = wrong ? verdict_.reasons.front().health : understood ? Health::Ok : Health::Unknown;
    return std::move(verdict_);
  }

  void AddUnread(Family family, const FamilyResult& result) {
    if (result.status == FamilyStatus::Partial || result.status == FamilyStatus::Failed) {
      const Text start =
          NameOf(family) + Text(result.status == FamilyStatus::Failed ? ": could not be read" : ": read in part");
      verdict_.reasons.push_back(
          {Health::Unknown, NameOf(family), {}, result.reason.empty() ? start : start + ": " + result.reason});
    }
  }

 private:
  Verdict verdict_;
};

}  // namespace

Health HealthOf(const Sensor& sensor) {
  if (sensor.state == "absent" || sensor.state == "disabled") {
    return Health::Unknown;
  }
  const Bound* const crossed = Crossed(sensor);
  const Health told = HealthOf(sensor.health);
  return crossed == nullptr ? told : std::max(told, crossed->health);
}

Verdict Judge(const Inventory& inventory) {
  Judgement judgement;
  for (const System& system : inventory.systems) {
    judgement.AddState("system", system);
  }
  for (const Component& component : inventory.components) {
    const bool told = std::any_of(inventory.systems.begin(), inventory.systems.end(),
                                  [&](const System& system) { return system.id == component.id; });
    if (!told) {  // a chassis may be among both
      judgement.AddState("components", component);
    }
  }
  for (const Sensor& sensor : inventory.sensors) {
    judgement.AddSensor(sensor);
  }
  for (const LogEntry& entry : inventory.log_entries) {
    // Without the target's word that it is resolved nor that it is open, an old event says nothing of today.
    if (entry.severity == "critical" && entry.resolved && !*entry.resolved) {
      judgement.Add(Health::Critical, kLogs, entry.id, entry.message.empty() ? entry.message_id : entry.message);
    }
  }
  bool anyRead = false;
  bool anyMissing = false;
  for (const Family family : kAllFamilies) {
    const FamilyResult& result = inventory.ResultOf(family);
    judgement.AddUnread(family, result);
    if (family == Family::System || family == Family::Components || family == Family::Sensors) {
      anyRead = anyRead || result.status == FamilyStatus::Complete || result.status == FamilyStatus::Partial;
      anyMissing = anyMissing || result.status == FamilyStatus::Failed || EndedEarly(result);
    }
  }
  return judgement.Finish(anyRead && !anyMissing);
}

}  // namespace Kelvar::Model
