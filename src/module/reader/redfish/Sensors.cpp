#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"
#include "module/reader/redfish/SensorUnits.h"

namespace Kelvar::Reader {

namespace {

using Model::Sensor;
using Bound = std::optional<double> Sensor::*;

struct BoundRow {
  const char* path;
  Bound member;
};

constexpr std::array<BoundRow, 8> kBounds = {{
    {"Thresholds/LowerFatal/Reading", &Sensor::lower_fatal},
    {"Thresholds/LowerCritical/Reading", &Sensor::lower_critical},
    {"Thresholds/LowerCaution/Reading", &Sensor::lower_caution},
    {"Thresholds/UpperCaution/Reading", &Sensor::upper_caution},
    {"Thresholds/UpperCritical/Reading", &Sensor::upper_critical},
    {"Thresholds/UpperFatal/Reading", &Sensor::upper_fatal},
    {"ReadingRangeMin", &Sensor::range_min},
    {"ReadingRangeMax", &Sensor::range_max},
}};

constexpr std::array<BoundRow, 10> kRowBounds = {{
    {"LowerThresholdFatal", &Sensor::lower_fatal},
    {"LowerThresholdCritical", &Sensor::lower_critical},
    {"LowerThresholdNonCritical", &Sensor::lower_caution},
    {"UpperThresholdNonCritical", &Sensor::upper_caution},
    {"UpperThresholdCritical", &Sensor::upper_critical},
    {"UpperThresholdFatal", &Sensor::upper_fatal},
    {"MinReadingRange", &Sensor::range_min},
    {"MaxReadingRange", &Sensor::range_max},
    {"MinReadingRangeTemp", &Sensor::range_min},
    {"MaxReadingRangeTemp", &Sensor::range_max},
}};

bool IsZero(const std::optional<double>& bound) {
  return bound && *bound == 0;
}

bool IsAboveZero(const std::optional<double>& bound) {
  return bound && *bound > 0;
}

/// Some services write 0 for a bound that is not set. It shows where a zero cannot be: all are zero, a zero upper bound
/// beside one above it, a lower bound that is below a more severe one.
bool HasUnsetBounds(const Sensor& sensor) {
  const auto all = {sensor.lower_fatal,   sensor.lower_critical, sensor.lower_caution,
                    sensor.upper_caution, sensor.upper_critical, sensor.upper_fatal};
  const auto told = std::count_if(all.begin(), all.end(), [](const auto& bound) { return bound.has_value(); });
  const auto zeros = std::count_if(all.begin(), all.end(), IsZero);
  const bool anyAbove = std::any_of(all.begin(), all.end(), IsAboveZero);
  const bool upperZero = IsZero(sensor.upper_caution) || IsZero(sensor.upper_critical) || IsZero(sensor.upper_fatal);
  return (told >= 2 && zeros == told) || (anyAbove && upperZero) ||
         (IsZero(sensor.lower_critical) && IsAboveZero(sensor.lower_fatal)) ||
         (IsZero(sensor.lower_caution) && (IsAboveZero(sensor.lower_critical) || IsAboveZero(sensor.lower_fatal)));
}

void DropUnsetBounds(Sensor& sensor) {
  if (sensor.state == "absent" || HasUnsetBounds(sensor)) {
    for (const Bound bound : {&Sensor::lower_fatal, &Sensor::lower_critical, &Sensor::lower_caution,
                              &Sensor::upper_caution, &Sensor::upper_critical, &Sensor::upper_fatal}) {
      if (IsZero(sensor.*bound)) {
        (sensor.*bound).reset();
      }
    }
  }
  if (IsZero(sensor.range_min) && IsZero(sensor.range_max)) {
    sensor.range_min.reset();
    sensor.range_max.reset();
  }
}

template <std::size_t Count>
void TakeBounds(Sensor& sensor, JsonValue json, const std::array<BoundRow, Count>& rows, double factor) {
  for (const BoundRow& row : rows) {
    const std::string_view threshold = std::string_view(row.path).substr(0, std::string_view(row.path).rfind('/'));
    const auto number = NumberAt(json, row.path);
    if (number && WordAt(At(json, threshold), "Activation") != "disabled") {
      sensor.*row.member = *number * factor;
    }
  }
  DropUnsetBounds(sensor);
}

/// Takes the reading, but not of what is absent.
void TakeReading(Sensor& sensor, std::optional<double> reading, double factor) {
  if (reading && sensor.state != "absent") {
    sensor.reading = *reading * factor;
  }
}

struct RowShape {
  const char* list;
  std::array<const char*, 3> readings;  ///< the first that is there counts
  const char* type;
  bool always;  ///< a row is a sensor even without a reading
};

constexpr const char* kReadingRpm = "ReadingRPM";

constexpr RowShape kTemperatures{"Temperatures", {"ReadingCelsius", "CurrentReading", "Reading"}, "Temperature", true};
constexpr RowShape kFans{"Fans", {"Reading", "CurrentReading", kReadingRpm}, "", false};
constexpr RowShape kVoltages{"Voltages", {"ReadingVolts", "Reading", "CurrentReading"}, "Voltage", true};
constexpr RowShape kPowerControl{"PowerControl", {"PowerConsumedWatts", "Reading", "CurrentReading"}, "Power", false};

bool HasReading(JsonValue json, const RowShape& row) {
  return std::any_of(row.readings.begin(), row.readings.end(), [&](const char* name) { return bool(json[name]); });
}

std::optional<double> ReadingOf(JsonValue json, const RowShape& row) {
  for (const char* const name : row.readings) {
    if (const auto reading = NumberAt(json, name)) {
      return reading;
    }
  }
  return std::nullopt;
}

std::string UnitsOfFan(JsonValue json) {
  for (const char* const property : {"ReadingUnits", "Units"}) {
    std::string units = TextAt(json, property);
    if (!units.empty()) {
      return units;
    }
  }
  return json[kReadingRpm] ? "RPM" : "";
}

Sensor FromRow(JsonValue json, const RowShape& row) {
  Sensor sensor;
  sensor.name = TextAt(json, "Name");
  if (sensor.name.empty()) {
    sensor.name = TextAt(json, "FanName");
  }
  sensor.context = WordAt(json, "PhysicalContext");
  const bool ofFan = std::string_view(row.list) == kFans.list;
  const ReadingShape shape = ShapeOf(row.type, ofFan ? UnitsOfFan(json) : "", sensor.name);
  sensor.kind = ofFan ? "fan" : shape.kind;
  sensor.unit = shape.unit;
  TakeStatus(sensor, json);
  TakeReading(sensor, ReadingOf(json, row), shape.factor);
  TakeBounds(sensor, json, kRowBounds, shape.factor);
  return sensor;
}

void TakeRows(Collected& to, const Node& node, JsonValue json, const RowShape& row) {
  std::size_t index = 0;
  for (const JsonValue element : to.RowsOf(json[row.list])) {
    const std::string id = node.id + "#/" + row.list + '/' + std::to_string(index++);
    // A temperature or voltage without a reading is a sensor that is off; other rows without one are none of a sensor:
    // power supplies of fans, limits of power.
    if (IsBare(element) || (!row.always && !HasReading(element, row))) {
      continue;
    }
    Sensor sensor = FromRow(element, row);
    sensor.id = id;
    to.readings.push_back({std::move(sensor), Collected::Source::Legacy, true});
  }
}

/// Of a reading that has none: "PowerWatts", or "RailVoltage 1" where it is one of several.
std::string NameIn(std::string_view path) {
  const std::string_view last = LastSegment(path);
  const std::string_view list = LastSegment(path.substr(0, path.size() - last.size()));
  const bool isIndex = last.find_first_not_of("0123456789") == std::string_view::npos;
  return isIndex && !list.empty() ? std::string(list) + ' ' + std::string(last) : std::string(last);
}

class Excerpts {
 public:
  Excerpts(Collected& to, const Node& node, JsonValue resource)
      : to_(to),
        node_(node),
        fan_(node.role == Role::Fan ? TextAt(resource, "Name") : ""),
        absent_(StatusOf(resource).state == "absent") {}

  void Visit(JsonValue value, const std::string& path, std::string_view property, int depth) {
    if (value.IsArray()) {
      std::size_t index = 0;
      for (const JsonValue element : to_.RowsOf(value)) {
        Visit(element, path + '/' + std::to_string(index++), property, depth);
      }
      return;
    }
    if (!value.IsObject()) {
      return;
    }
    if (value["SetPoint"] || property.find("Limit") != std::string_view::npos) {
      return;  // of a control, not of a sensor
    }
    const std::string source = LinkAt(value, "DataSourceUri");
    if (!source.empty() || NumberAt(value, "Reading")) {
      Take(value, path, property, source);
      return;
    }
    if (depth < 2 && property != "Oem" && property != "Links" && property != "Status" && property != "Thresholds") {
      for (const auto& [name, member] : value.Members()) {
        const std::string_view type = TypeOfProperty(name).empty() ? property : name;
        Visit(member, path + '/' + std::string(name), type, depth + 1);
      }
    }
  }

  std::vector<std::string> sources;

 private:
  void Take(JsonValue value, const std::string& path, std::string_view property, const std::string& source) {
    const auto link = ParseLink(source, {});
    if (link) {
      sources.push_back(source);
    }
    const auto reading = NumberAt(value, "Reading");
    if (!reading) {
      return;
    }
    Sensor sensor;
    sensor.id = link ? LinkedId(value, "DataSourceUri") : node_.id + "#" + path;
    sensor.name = fan_.empty() ? TextAt(value, "DeviceName") : fan_;
    const bool named = !sensor.name.empty();
    sensor.context = WordAt(value, "PhysicalContext");
    const ReadingShape shape = ShapeOf(TypeOfProperty(property), {}, path);
    const bool ofFan = node_.role == Role::Fan || property.find("Fan") != std::string_view::npos;
    sensor.kind = ofFan ? "fan" : shape.kind;
    sensor.unit = shape.unit;
    sensor.name = named ? sensor.name : NameIn(link ? sensor.id : path);
    sensor.state = absent_ ? "absent" : "";
    TakeReading(sensor, reading, shape.factor);
    to_.readings.push_back({std::move(sensor), Collected::Source::Excerpt, named, node_.id});
  }

  Collected& to_;
  const Node& node_;
  const std::string fan_;  ///< name of the fan whose speed this is
  const bool absent_;      ///< the resource that has the excerpts
};

/// Of a leak detector, or of an excerpt of one.
Sensor LeakSensor(const std::string& id, std::string name, JsonValue json) {
  Sensor sensor;
  sensor.id = id;
  sensor.name = std::move(name);
  sensor.kind = "discrete";
  TakeStatus(sensor, json);
  const std::string state = WordAt(json, "DetectorState");
  if (state.empty() || sensor.state == "absent") {
    return sensor;
  }
  sensor.states.push_back(state);
  // A detector that finds a leak may be in good health itself.
  if (state == "critical" || (state == "warning" && sensor.health != "critical")) {
    sensor.health = state;
  }
  return sensor;
}

}  // namespace

void TakeSensor(Collected& to, const Node& node, JsonValue json) {
  const std::string type = TextAt(json, "@odata.type");
  if (!type.empty() && type.find("Sensor") == std::string::npos) {
    return;  // an excerpt may name something else as its source
  }
  Sensor sensor;
  sensor.id = node.id;
  sensor.name = TextAt(json, "Name");
  sensor.context = WordAt(json, "PhysicalContext");
  const ReadingShape shape = ShapeOf(TextAt(json, "ReadingType"), TextAt(json, "ReadingUnits"), sensor.name + node.id);
  sensor.kind = shape.kind == "percent" && sensor.context == "fan" ? "fan" : shape.kind;
  sensor.unit = shape.unit;
  TakeStatus(sensor, json);
  TakeReading(sensor, NumberAt(json, "Reading"), shape.factor);
  TakeBounds(sensor, json, kBounds, shape.factor);
  to.readings.push_back({std::move(sensor), Collected::Source::Own, true});
}

void TakeLeakDetector(Collected& to, const Node& node, JsonValue json) {
  Sensor sensor = LeakSensor(node.id, TextAt(json, "Name"), json);
  sensor.context = WordAt(json, "PhysicalContext");
  to.readings.push_back({std::move(sensor), Collected::Source::Own, true});
}

std::vector<std::string> TakeLeakDetectorGroups(Collected& to, const Node& node, JsonValue json) {
  std::vector<std::string> sources;
  std::size_t group = 0;
  for (const JsonValue row : to.RowsOf(json["LeakDetectorGroups"])) {
    const std::string list = node.id + "#/LeakDetectorGroups/" + std::to_string(group++) + "/Detectors/";
    std::size_t index = 0;
    for (const JsonValue detector : to.RowsOf(row["Detectors"])) {
      const std::string source = LinkedId(detector, "DataSourceUri");
      const std::string id = source.empty() ? list + std::to_string(index) : source;
      ++index;
      if (!source.empty()) {
        sources.push_back(LinkAt(detector, "DataSourceUri"));
      }
      if (!IsBare(detector)) {
        Sensor sensor = LeakSensor(id, TextAt(detector, "DeviceName"), detector);
        to.readings.push_back({std::move(sensor), Collected::Source::Excerpt, source.empty(), node.id});
      }
    }
  }
  return sources;
}

void TakeThermalReadings(Collected& to, const Node& node, JsonValue json) {
  TakeRows(to, node, json, kTemperatures);
  TakeRows(to, node, json, kFans);
}

void TakePowerReadings(Collected& to, const Node& node, JsonValue json) {
  TakeRows(to, node, json, kVoltages);
  TakeRows(to, node, json, kPowerControl);
}

std::vector<std::string> TakeExcerpts(Collected& to, const Node& node, JsonValue json) {
  Excerpts excerpts(to, node, json);
  for (const auto& [name, member] : json.Members()) {
    if (name.find('@') == std::string_view::npos && name != "Oem" && name != "Actions" && name != "Thresholds") {
      excerpts.Visit(member, '/' + std::string(name), name, 0);
    }
  }
  return std::move(excerpts.sources);
}

}  // namespace Kelvar::Reader
