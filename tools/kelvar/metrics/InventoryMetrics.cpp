#include "tools/kelvar/metrics/InventoryMetrics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "tools/kelvar/inventory/DisplayText.h"
#include "tools/kelvar/inventory/IsoTime.h"

namespace Kelvar::Tool {

namespace {

using Model::Health;

constexpr std::size_t kMostSensors = 2000;
constexpr std::size_t kMostComponents = 1000;
constexpr std::size_t kMostOthers = 250;
constexpr double kPercent = 100;

constexpr Metric kUp = {"kelvar_up", "gauge", "1 when at least a part of what was asked for was read"};
constexpr Metric kCause = {"kelvar_probe_cause", "gauge", "1 for the cause of the failure, 0 for all others"};
constexpr Metric kDuration = {"kelvar_probe_duration_seconds", "gauge", "How long the reading took"};
constexpr Metric kFinished = {"kelvar_probe_finished", "gauge", "1 when the reading ended within the scrape's time"};
constexpr Metric kRequests = {"kelvar_probe_requests", "gauge", "Requests that the reading made"};
constexpr Metric kBytes = {"kelvar_probe_received_bytes", "gauge", "Bytes of all responses of the reading"};
constexpr Metric kAge = {"kelvar_probe_data_age_seconds", "gauge", "Time since the reading ended"};
constexpr Metric kDropped = {"kelvar_probe_dropped_items", "gauge",
                             "Records left out because of the limits for one target"};
constexpr Metric kFamily = {"kelvar_probe_family_complete", "gauge",
                            "1 when a family was read completely, 0 when it is partial or failed; missing when the "
                            "target has none"};
constexpr Metric kCertificate = {"kelvar_tls_certificate_not_after_timestamp_seconds", "gauge",
                                 "When the certificate of the target's service expires"};
constexpr Metric kHealth = {"kelvar_health", "gauge", "Verdict on the machine: 0 ok, 1 warning, 2 critical"};
constexpr Metric kSystemInfo = {"kelvar_system_info", "gauge", "Identity of a system, manager or chassis"};
constexpr Metric kSystemHealth = {"kelvar_system_health", "gauge", "Health: 0 ok, 1 warning, 2 critical"};
constexpr Metric kPowerState = {"kelvar_system_power_state", "gauge", "1 when the power is on, 0 in any other state"};
constexpr Metric kFirmwareInfo = {"kelvar_firmware_info", "gauge", "Firmware with its version"};
constexpr Metric kComponentInfo = {"kelvar_component_info", "gauge", "Component of the machine"};
constexpr Metric kComponentHealth = {"kelvar_component_health", "gauge", "Health: 0 ok, 1 warning, 2 critical"};
constexpr Metric kSensorHealth = {"kelvar_sensor_health", "gauge", "Health: 0 ok, 1 warning, 2 critical"};
constexpr Metric kLedLit = {"kelvar_led_lit", "gauge", "1 when an LED is lit or blinks, 0 when it is off"};
constexpr Metric kLogEntries = {"kelvar_log_entries", "gauge", "Entries of a log by severity"};
constexpr Metric kLogNewest = {"kelvar_log_newest_entry_timestamp_seconds", "gauge",
                               "When the newest entry of a severity was created"};

/// A kind of sensor whose readings are one metric: `factor` turns the model's unit into the metric's.
struct SensorMetric {
  const char* kind;
  const char* unit;  ///< UCUM; null: any
  double factor;
  Metric reading;
  Metric threshold;
};

constexpr SensorMetric kSensorMetrics[] = {
    {"temperature",
     "Cel",
     1,
     {"kelvar_temperature_celsius", "gauge", "Temperature"},
     {"kelvar_temperature_celsius_threshold", "gauge", "Limit of a temperature"}},
    {"fan",
     "{rev}/min",
     1,
     {"kelvar_fan_speed_rpm", "gauge", "Speed of a fan in revolutions a minute"},
     {"kelvar_fan_speed_rpm_threshold", "gauge", "Limit of a fan's speed"}},
    {"fan",
     "%",
     1 / kPercent,
     {"kelvar_fan_speed_ratio", "gauge", "Speed of a fan as a part of its highest"},
     {"kelvar_fan_speed_ratio_threshold", "gauge", "Limit of a fan's speed"}},
    {"voltage",
     "V",
     1,
     {"kelvar_voltage_volts", "gauge", "Voltage"},
     {"kelvar_voltage_volts_threshold", "gauge", "Limit of a voltage"}},
    {"current",
     "A",
     1,
     {"kelvar_current_amperes", "gauge", "Electric current"},
     {"kelvar_current_amperes_threshold", "gauge", "Limit of a current"}},
    {"power",
     "W",
     1,
     {"kelvar_power_watts", "gauge", "Power"},
     {"kelvar_power_watts_threshold", "gauge", "Limit of a power"}},
    {"energy",
     "J",
     1,
     {"kelvar_energy_joules_total", "counter", "Energy used"},
     {"kelvar_energy_joules_threshold", "gauge", "Limit of an energy"}},
    {"humidity",
     "%",
     1 / kPercent,
     {"kelvar_humidity_ratio", "gauge", "Relative humidity"},
     {"kelvar_humidity_ratio_threshold", "gauge", "Limit of a humidity"}},
    {"utilization",
     "%",
     1 / kPercent,
     {"kelvar_utilization_ratio", "gauge", "Utilization"},
     {"kelvar_utilization_ratio_threshold", "gauge", "Limit of a utilization"}},
    {"percent",
     "%",
     1 / kPercent,
     {"kelvar_sensor_ratio", "gauge", "Any other reading in percent"},
     {"kelvar_sensor_ratio_threshold", "gauge", "Limit of such a reading"}},
    {"frequency",
     "Hz",
     1,
     {"kelvar_frequency_hertz", "gauge", "Frequency"},
     {"kelvar_frequency_hertz_threshold", "gauge", "Limit of a frequency"}},
    {"pressure",
     "Pa",
     1,
     {"kelvar_pressure_pascals", "gauge", "Pressure"},
     {"kelvar_pressure_pascals_threshold", "gauge", "Limit of a pressure"}},
    {"altitude",
     "m",
     1,
     {"kelvar_altitude_meters", "gauge", "Altitude"},
     {"kelvar_altitude_meters_threshold", "gauge", "Limit of an altitude"}}};

constexpr std::pair<const char*, std::optional<double> Model::Sensor::*> kLevels[] = {
    {"lower_fatal", &Model::Sensor::lower_fatal},       {"lower_critical", &Model::Sensor::lower_critical},
    {"lower_caution", &Model::Sensor::lower_caution},   {"upper_caution", &Model::Sensor::upper_caution},
    {"upper_critical", &Model::Sensor::upper_critical}, {"upper_fatal", &Model::Sensor::upper_fatal}};

const SensorMetric* MetricOf(const Model::Sensor& sensor) {
  const auto* const found = std::find_if(std::begin(kSensorMetrics), std::end(kSensorMetrics), [&](const auto& row) {
    return sensor.kind == row.kind && sensor.unit == row.unit;
  });
  return found == std::end(kSensorMetrics) ? nullptr : found;
}

/// 0 ok, 1 warning, 2 critical.
std::optional<double> ValueOf(Health health) {
  if (health == Health::Unknown) {
    return std::nullopt;
  }
  return static_cast<double>(health) - static_cast<double>(Health::Ok);
}

class Writer {
 public:
  Writer(Exposition& exposition, const Labels& common) : exposition_(exposition), common_(common) {}

  void Add(const Metric& metric, const Labels& own, double value) {
    Labels labels = common_;
    for (const auto& [name, text] : own) {
      labels.emplace_back(name, CleanLabel(text));
    }
    exposition_.Add(metric, labels, value);
  }
  void AddHealth(const Metric& metric, const Labels& own, Health health) {
    if (const std::optional<double> value = ValueOf(health)) {
      Add(metric, own, *value);
    }
  }

 private:
  Exposition& exposition_;
  const Labels& common_;
};

/// Makes the first label unlike that of all other records with otherwise equal labels.
class Unique {
 public:
  explicit Unique(std::size_t most) : left_(most) {}

  /// False when there are enough of them.
  bool Take(Labels& labels) {
    if (left_ == 0) {
      ++dropped_;
      return false;
    }
    --left_;
    const std::string base = labels.front().second.empty() ? "unnamed" : CleanLabel(labels.front().second);
    const std::string stem = CleanLabel(base, kLabelBytes - kNumberBytes);
    labels.front().second = stem;
    unsigned& copy = copies_[KeyOf(labels)];  // of this name, those that are taken
    labels.front().second = base;
    while (!taken_.insert(KeyOf(labels)).second) {
      copy = std::max(copy, 1U) + 1;
      labels.front().second = fmt::format("{} #{}", stem, copy);
    }
    return true;
  }

  std::size_t Dropped() const { return dropped_; }

 private:
  static constexpr std::size_t kNumberBytes = 16;  ///< that are left for " #N" where a label is cut

  static std::string KeyOf(const Labels& labels) {
    std::string key;
    for (const auto& [name, text] : labels) {
      key += CleanLabel(text) + '\n';
    }
    return key;
  }

  std::size_t left_;
  std::size_t dropped_ = 0;
  std::set<std::string> taken_;
  std::map<std::string, unsigned> copies_;
};

std::size_t AddSystems(Writer& writer, const std::vector<Model::System>& systems) {
  Unique unique(kMostOthers);
  for (const Model::System& system : systems) {
    Labels name = {{"name", system.name.empty() ? system.id : system.name}, {"kind", system.kind}};
    if (!unique.Take(name)) {
      continue;
    }
    Labels info = name;
    info.insert(info.end(), {{"manufacturer", system.manufacturer},
                             {"model", system.model},
                             {"serial_number", system.serial_number},
                             {"uuid", system.uuid},
                             {"bios_version", system.bios_version},
                             {"firmware_version", system.firmware_version},
                             {"host_name", system.host_name}});
    writer.Add(kSystemInfo, info, 1);
    writer.AddHealth(kSystemHealth, name, HealthOf(system.health));
    if (!system.power_state.empty()) {
      writer.Add(kPowerState, name, system.power_state == "on" ? 1 : 0);
    }
  }
  return unique.Dropped();
}

std::size_t AddFirmware(Writer& writer, const std::vector<Model::Firmware>& list) {
  Unique unique(kMostOthers);
  for (const Model::Firmware& firmware : list) {
    Labels labels = {{"name", firmware.name.empty() ? firmware.id : firmware.name},
                     {"kind", firmware.kind},
                     {"version", firmware.version},
                     {"bank", firmware.bank}};
    if (unique.Take(labels)) {
      writer.Add(kFirmwareInfo, labels, 1);
    }
  }
  return unique.Dropped();
}

std::size_t AddComponents(Writer& writer, const std::vector<Model::Component>& components) {
  Unique unique(kMostComponents);
  for (const Model::Component& component : components) {
    if (component.state == "absent") {
      continue;
    }
    Labels name = {{"name", component.name.empty() ? component.id : component.name},
                   {"kind", component.kind},
                   {"parent", component.parent}};
    if (!unique.Take(name)) {
      continue;
    }
    Labels info = name;
    info.insert(info.end(), {{"manufacturer", component.manufacturer},
                             {"model", component.model},
                             {"part_number", component.part_number},
                             {"serial_number", component.serial_number},
                             {"firmware_version", component.firmware_version}});
    writer.Add(kComponentInfo, info, 1);
    writer.AddHealth(kComponentHealth, name, HealthOf(component.health));
  }
  return unique.Dropped();
}

void AddReading(Writer& writer, const Labels& labels, const Model::Sensor& sensor) {
  const SensorMetric* const metric = MetricOf(sensor);
  if (metric == nullptr || !sensor.reading || !std::isfinite(*sensor.reading)) {
    return;
  }
  writer.Add(metric->reading, labels, *sensor.reading * metric->factor);
  for (const auto& [level, member] : kLevels) {
    if (const std::optional<double>& limit = sensor.*member; limit && std::isfinite(*limit)) {
      Labels leveled = labels;
      leveled.emplace_back("level", level);
      writer.Add(metric->threshold, leveled, *limit * metric->factor);
    }
  }
}

std::size_t AddSensors(Writer& writer, const std::vector<Model::Sensor>& sensors) {
  Unique unique(kMostSensors);
  for (const Model::Sensor& sensor : sensors) {
    Labels labels = {{"name", sensor.name.empty() ? sensor.id : sensor.name},
                     {"parent", sensor.parent},
                     {"context", sensor.context}};
    if (unique.Take(labels)) {
      AddReading(writer, labels, sensor);
      writer.AddHealth(kSensorHealth, labels, HealthOf(sensor));
    }
  }
  return unique.Dropped();
}

std::size_t AddLeds(Writer& writer, const std::vector<Model::Led>& leds) {
  Unique unique(kMostOthers);
  for (const Model::Led& led : leds) {
    Labels labels = {{"name", led.name.empty() ? led.id : led.name}, {"parent", led.parent}, {"purpose", led.purpose}};
    if (led.state != "unknown" && !led.state.empty() && unique.Take(labels)) {
      writer.Add(kLedLit, labels, led.state == "off" ? 0 : 1);
    }
  }
  return unique.Dropped();
}

struct LogCount {
  std::size_t entries = 0;
  std::optional<double> newest;
};

std::size_t AddLogs(Writer& writer, const std::vector<Model::LogEntry>& entries) {
  std::map<std::pair<std::string, std::string>, LogCount> counts;
  std::size_t dropped = 0;
  for (const Model::LogEntry& entry : entries) {
    const auto key = std::make_pair(entry.log, entry.severity);
    if (counts.size() >= kMostOthers && counts.count(key) == 0) {
      ++dropped;
      continue;
    }
    LogCount& count = counts[key];
    ++count.entries;
    if (const std::optional<std::int64_t> seconds = SecondsOfIsoTime(entry.created)) {
      count.newest = std::max(count.newest.value_or(0), static_cast<double>(*seconds));
    }
  }
  for (const auto& [key, count] : counts) {
    const Labels labels = {{"log", key.first}, {"severity", key.second}};
    writer.Add(kLogEntries, labels, static_cast<double>(count.entries));
    if (count.newest) {
      writer.Add(kLogNewest, labels, *count.newest);
    }
  }
  return dropped;
}

void AddProbe(Writer& writer, const InventoryReport& report, const ReadingState& state) {
  writer.Add(kUp, {}, report.Delivered() ? 1 : 0);
  for (int number = 1; number <= static_cast<int>(FailureCause::Deadline); ++number) {
    const auto cause = static_cast<FailureCause>(number);
    writer.Add(kCause, {{"cause", Kelvar::NameOf(cause)}}, report.cause == cause ? 1 : 0);
  }
  writer.Add(kDuration, {}, report.seconds);
  writer.Add(kFinished, {}, state.finished ? 1 : 0);
  writer.Add(kRequests, {}, static_cast<double>(report.diagnostics.ExchangeCount()));
  writer.Add(kBytes, {}, static_cast<double>(report.diagnostics.BytesReceived()));
  if (state.ageSeconds) {
    writer.Add(kAge, {}, *state.ageSeconds);
  }
  if (report.tls.certificate_end != 0) {
    writer.Add(kCertificate, {}, static_cast<double>(report.tls.certificate_end));
  }
  for (const Model::Family family : report.families) {
    const Model::FamilyResult& result = report.inventory.ResultOf(family);
    if (result.status != Model::FamilyStatus::Absent && result.status != Model::FamilyStatus::NotAsked) {
      writer.Add(kFamily, {{"family", Model::NameOf(family)}}, result.status == Model::FamilyStatus::Complete ? 1 : 0);
    }
  }
}

}  // namespace

void AddMetrics(Exposition& exposition, const Labels& common, const InventoryReport& report,
                const ReadingState& state) {
  Writer writer(exposition, common);
  AddProbe(writer, report, state);
  writer.AddHealth(kHealth, {}, report.verdict.health);
  const Model::Inventory& inventory = report.inventory;
  std::size_t dropped = AddSystems(writer, inventory.systems);
  dropped += AddFirmware(writer, inventory.firmware);
  dropped += AddComponents(writer, inventory.components);
  dropped += AddSensors(writer, inventory.sensors);
  dropped += AddLeds(writer, inventory.leds);
  dropped += AddLogs(writer, inventory.log_entries);
  writer.Add(kDropped, {}, static_cast<double>(dropped));
}

std::string WithAge(std::string text, double ageSeconds) {
  const std::string name = std::string("\n") + kAge.name + ' ';
  const std::size_t at = text.find(name);
  if (at != std::string::npos) {
    const std::size_t value = at + name.size();
    text.replace(value, text.find('\n', value) - value, fmt::format("{:.3f}", ageSeconds));
  }
  return text;
}

std::string MetricsText(const InventoryReport& report, const ReadingState& state) {
  Exposition exposition;
  AddMetrics(exposition, {}, report, state);
  return exposition.Text();
}

}  // namespace Kelvar::Tool
