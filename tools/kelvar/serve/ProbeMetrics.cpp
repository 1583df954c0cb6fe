#include "tools/kelvar/serve/ProbeMetrics.h"

#include <cmath>
#include <string_view>
#include <variant>

#include <fmt/format.h>

namespace Kelvar::Tool::Serve {

namespace {

constexpr Metric up = {"kelvar_up", "gauge", "1 when the target gave at least a part of what was asked for"};
constexpr Metric finished = {"kelvar_probe_finished", "gauge", "1 when the reading ended within the scrape's time"};
constexpr Metric duration = {"kelvar_probe_duration_seconds", "gauge", "How long the reading has taken"};
constexpr Metric dropped = {"kelvar_probe_dropped_items", "gauge",
                            "Items left out, being more than the exporter tells of one target"};
constexpr Metric code = {"kelvar_code", "gauge", "Exit code of each operation; 0 is complete, 20 partial"};
constexpr Metric connectCode = {"kelvar_connect_code", "gauge",
                                "Exit code of a reading that got no connection, else 0"};
constexpr Metric firmwareInfo = {"kelvar_firmware_info", "gauge", "Firmware with its version and date"};
constexpr Metric identityInfo = {"kelvar_identity_info", "gauge", "Identity of the machine"};
constexpr Metric systemInfo = {"kelvar_system_info", "gauge", "Machine type and serial number"};
constexpr Metric boardInfo = {"kelvar_board_info", "gauge", "System board"};
constexpr Metric generation = {"kelvar_generation", "gauge", "Generation of the service processor"};
constexpr Metric componentInfo = {"kelvar_component_info", "gauge", "Replaceable component"};
constexpr Metric reading = {"kelvar_sensor_reading", "gauge", "Reading of a sensor, in its unit"};
constexpr Metric threshold = {"kelvar_sensor_threshold", "gauge", "Threshold of a sensor, in its unit"};
constexpr Metric rawThreshold = {"kelvar_sensor_threshold_raw", "gauge",
                                 "Threshold of a sensor as the target counts, which is not always the reading's unit"};
constexpr Metric health = {"kelvar_sensor_health", "gauge", "Health of a sensor in the target's words"};
constexpr Metric led = {"kelvar_led", "gauge", "State of an indicator LED"};
constexpr Metric logEntries = {"kelvar_log_entries", "gauge", "Entries of a log by severity"};

constexpr std::size_t sensorLimit = 2000;
constexpr std::size_t componentLimit = 1000;
constexpr std::size_t otherLimit = 250;
constexpr std::size_t severityLimit = 16;

std::string TextIn(const Record& record, std::string_view name) {
  const Value* const value = FieldOf(record, name);
  const auto* const text = value == nullptr ? nullptr : std::get_if<std::string>(value);
  return text == nullptr ? std::string() : *text;
}

float NumberIn(const Record& record, std::string_view name) {
  const Value* const value = FieldOf(record, name);
  const auto* const number = value == nullptr ? nullptr : std::get_if<float>(value);
  return number == nullptr ? 0.0F : *number;
}

/// As people read it: 12.14 and not the double that is next to the float.
double Shown(float number) {
  return std::isfinite(number) ? std::stod(fmt::format("{}", number)) : static_cast<double>(number);
}

/// A label for each field of `fields`, which are pairs of a label and a field's name.
template <std::size_t N>
Labels LabelsOf(const Record& record, const std::pair<const char*, const char*> (&fields)[N]) {
  Labels labels;
  for (const auto& [label, field] : fields) {
    labels.emplace_back(label, CleanLabel(TextIn(record, field)));
  }
  return labels;
}

constexpr std::pair<const char*, const char*> identityLabels[] = {
    {"product", "ProductName"}, {"manufacturer", "Manufacturer"}, {"model", "Model"},
    {"version", "Version"},     {"serial", "SerialNumber"},       {"uuid", "UUID"},
    {"guid", "SystemGUID"}};
constexpr std::pair<const char*, const char*> systemLabels[] = {
    {"machine_type", "MachineType"}, {"serial", "SerialNumber"}, {"model", "ModelName"}};
constexpr std::pair<const char*, const char*> boardLabels[] = {
    {"name", "Name"},       {"manufacturer", "Manufacturer"}, {"model", "Model"},
    {"part", "PartNumber"}, {"fru_part", "FruPartNumber"},    {"serial", "SerialNumber"}};
constexpr std::pair<const char*, const char*> componentLabels[] = {{"manufacturer", "Manufacturer"},
                                                                   {"part", "PartNumber"},
                                                                   {"fru_part", "FruPartNumber"},
                                                                   {"serial", "SerialNumber"}};
constexpr std::pair<const char*, const char*> thresholds[] = {{"lower_non_critical", "LowerThresholdNonCritical"},
                                                              {"lower_critical", "LowerThresholdCritical"},
                                                              {"lower_fatal", "LowerThresholdFatal"},
                                                              {"upper_non_critical", "UpperThresholdNonCritical"},
                                                              {"upper_critical", "UpperThresholdCritical"},
                                                              {"upper_fatal", "UpperThresholdFatal"}};

/// Of a sensor in such a state, as Redfish words them, 0 is no reading.
bool HasNoReading(std::string_view state) {
  return state == "Absent" || state == "Disabled" || state == "UnavailableOffline";
}

}  // namespace

std::string ProbeMetrics::Names::Take(std::string_view name, std::size_t limit) {
  if (taken_.size() >= limit) {
    return "";
  }
  const std::string clean = name.empty() ? "unnamed" : CleanLabel(name);
  if (taken_.insert(clean).second) {
    return clean;
  }
  unsigned& copies = copies_[clean];
  for (;;) {
    std::string other = clean + " #" + std::to_string(++copies + 1);
    if (taken_.insert(other).second) {
      return other;
    }
  }
}

std::string ProbeMetrics::NameFor(Names& names, std::string_view name, std::size_t limit) {
  std::string taken = names.Take(name, limit);
  dropped_ += taken.empty() ? 1U : 0U;
  return taken;
}

void ProbeMetrics::Add(const OperationResult& result, Protocol protocol) {
  const Operation& operation = *result.operation;
  if (!operations_.insert(operation.name).second) {
    return;
  }
  samples_.Add(code, {{"operation", operation.name}}, static_cast<double>(result.code));
  up_ = up_ || result.Delivered();
  if (operation.metrics == Metrics::Log) {
    AddLog(operation.name, result.records);
    return;
  }
  for (const Record& record : result.records) {
    AddRecord(operation.metrics, record, protocol);
  }
}

void ProbeMetrics::AddRecord(Metrics metrics, const Record& record, Protocol protocol) {
  switch (metrics) {
    case Metrics::Firmware:
      return AddFirmware(record);
    case Metrics::Software:
      return AddFirmwareRow(TextIn(record, "Name"), TextIn(record, "VersionString"), TextIn(record, "ReleaseDate"));
    case Metrics::Components:
      return AddComponent(record);
    case Metrics::Sensors:
      return AddSensor(record, protocol);
    case Metrics::Leds:
      return AddLed(record);
    case Metrics::Identity:
      return samples_.Add(identityInfo, LabelsOf(record, identityLabels), 1);
    case Metrics::System:
      return samples_.Add(systemInfo, LabelsOf(record, systemLabels), 1);
    case Metrics::Board:
      return samples_.Add(boardInfo, LabelsOf(record, boardLabels), 1);
    case Metrics::Generation:
      return AddGeneration(record);
    case Metrics::Log:
    case Metrics::None:
      return;
  }
}

void ProbeMetrics::AddGeneration(const Record& record) {
  const Value* const number = FieldOf(record, "Generation");
  if (number != nullptr && std::holds_alternative<u64>(*number)) {
    samples_.Add(generation, static_cast<double>(std::get<u64>(*number)));
  }
}

/// The record holds pairs of fields: a build ID, and its date behind it.
void ProbeMetrics::AddFirmware(const Record& record) {
  constexpr std::string_view ending = "BuildID";
  for (std::size_t i = 0; i + 1 < record.size(); i += 2) {
    const std::string_view field = record[i].first;
    const std::string version = TextIn(record, field);
    if (!version.empty() && field.size() > ending.size()) {
      AddFirmwareRow(field.substr(0, field.size() - ending.size()), version, TextIn(record, record[i + 1].first));
    }
  }
}

void ProbeMetrics::AddFirmwareRow(std::string_view name, const std::string& version, const std::string& date) {
  const std::string unique = NameFor(firmware_, name, otherLimit);
  if (!unique.empty()) {
    samples_.Add(firmwareInfo, {{"name", unique}, {"version", CleanLabel(version)}, {"date", CleanLabel(date)}}, 1);
  }
}

void ProbeMetrics::AddComponent(const Record& record) {
  const std::string name = NameFor(components_, TextIn(record, "Name"), componentLimit);
  if (name.empty()) {
    return;
  }
  Labels labels = LabelsOf(record, componentLabels);
  labels.insert(labels.begin(), {"component", name});
  samples_.Add(componentInfo, labels, 1);
}

void ProbeMetrics::AddSensor(const Record& record, Protocol protocol) {
  if (HasNoReading(TextIn(record, "CurrentState"))) {
    return;
  }
  const std::string name = NameFor(sensors_, TextIn(record, "ElementName"), sensorLimit);
  if (name.empty()) {
    return;
  }
  const std::string unit = CleanLabel(TextIn(record, "BaseUnits"));
  samples_.Add(reading, {{"sensor", name}, {"unit", unit}}, Shown(NumberIn(record, "CurrentReading")));
  const bool scaled = ThresholdsAreScaled(record, protocol);
  for (const auto& [label, field] : thresholds) {
    const float number = NumberIn(record, field);
    if (number != 0.0F && scaled) {  // 0 stands for one that the target does not give
      samples_.Add(threshold, {{"sensor", name}, {"unit", unit}, {"threshold", label}}, Shown(number));
    } else if (number != 0.0F) {
      samples_.Add(rawThreshold, {{"sensor", name}, {"threshold", label}}, Shown(number));
    }
  }
  const std::string state = CleanLabel(TextIn(record, "HealthState"));
  if (!state.empty() && state != "null") {
    samples_.Add(health, {{"sensor", name}, {"state", state}}, 1);
  }
}

void ProbeMetrics::AddLed(const Record& record) {
  const std::string name = NameFor(leds_, TextIn(record, "ElementName"), otherLimit);
  if (!name.empty()) {
    samples_.Add(led, {{"led", name}, {"state", CleanLabel(TextIn(record, "ActivationState"))}}, 1);
  }
}

void ProbeMetrics::AddLog(const char* name, const std::vector<Record>& records) {
  std::map<std::string, std::size_t> counts;
  std::size_t others = 0;
  for (const Record& record : records) {
    const std::string severity = CleanLabel(TextIn(record, "PerceivedSeverity"));
    if (counts.size() < severityLimit || counts.count(severity) != 0) {
      ++counts[severity];
    } else {
      ++others;
    }
  }
  dropped_ += others;
  for (const auto& [severity, count] : counts) {
    samples_.Add(logEntries, {{"log", name}, {"severity", severity}}, static_cast<double>(count));
  }
}

std::string ProbeMetrics::Text(double seconds, bool isFinished) const {
  Exposition head;
  head.Add(up, up_ ? 1 : 0);
  head.Add(finished, isFinished ? 1 : 0);
  head.Add(duration, seconds);
  head.Add(dropped, static_cast<double>(dropped_));
  if (connectCode_) {
    head.Add(connectCode, static_cast<double>(*connectCode_));
  }
  return head.Text() + samples_.Text();
}

}  // namespace Kelvar::Tool::Serve
