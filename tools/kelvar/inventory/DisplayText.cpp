#include "tools/kelvar/inventory/DisplayText.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <iterator>
#include <string_view>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/inventory/IsoTime.h"

namespace Kelvar::Tool {

namespace {

struct UnitRow {
  const char* ucum;
  const char* shown;
};

constexpr UnitRow kUnits[] = {
    {"Cel", "°C"}, {"[degF]", "°F"}, {"{rev}/min", "rpm"}, {"m3/h", "m³/h"}, {"L/min", "L/min"}};

std::string LevelText(const std::optional<double>& lower, const std::optional<double>& upper) {
  if (lower && upper) {
    return NumberText(lower) + ".." + NumberText(upper);
  }
  if (lower) {
    return NumberText(lower) + "..";
  }
  return upper ? NumberText(upper) : "";
}

std::string Scaled(double value, double step, const std::vector<const char*>& units) {
  std::size_t index = 0;
  while (value >= step && index + 1 < units.size()) {
    value /= step;
    ++index;
  }
  return fmt::format("{:.4g} {}", value, units[index]);
}

}  // namespace

std::string UnitText(const std::string& ucum) {
  const auto* const row =
      std::find_if(std::begin(kUnits), std::end(kUnits), [&](const UnitRow& unit) { return ucum == unit.ucum; });
  return row == std::end(kUnits) ? Text::EscapeControl(ucum) : row->shown;
}

std::string NumberText(const std::optional<double>& number) {
  if (!number || !std::isfinite(*number)) {
    return "";
  }
  constexpr double kMostDigits = 1e15;
  if (std::abs(*number) >= kMostDigits) {
    return fmt::format("{:g}", *number);
  }
  std::string text = fmt::format("{:.4f}", *number);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') {
    text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

std::string ReadingText(const Model::Sensor& sensor) {
  if (sensor.reading) {
    const std::string unit = UnitText(sensor.unit);
    return NumberText(sensor.reading) + (unit.empty() ? "" : " " + unit);
  }
  std::string states;
  for (const std::string& state : sensor.states) {
    states += (states.empty() ? "" : ", ") + Text::EscapeControl(state);
  }
  return states.empty() && sensor.state != "enabled" ? Text::EscapeControl(sensor.state) : states;
}

std::string LimitsText(const Model::Sensor& sensor) {
  std::array<std::string, 3> levels = {LevelText(sensor.lower_caution, sensor.upper_caution),
                                       LevelText(sensor.lower_critical, sensor.upper_critical),
                                       LevelText(sensor.lower_fatal, sensor.upper_fatal)};
  const auto last = std::find_if(levels.rbegin(), levels.rend(), [](const auto& level) { return !level.empty(); });
  std::string text;
  for (auto level = levels.begin(); level != last.base(); ++level) {
    text += (level == levels.begin() ? "" : " | ") + (level->empty() ? std::string("-") : *level);
  }
  return text;
}

std::string TimeText(const std::string& iso) {
  const std::optional<std::int64_t> seconds = SecondsOfIsoTime(iso);
  if (!seconds) {
    return Text::EscapeControl(iso);
  }
  const std::chrono::sys_seconds time{std::chrono::seconds(*seconds)};
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::gmtime(time));
}

std::string DateText(const std::string& iso) {
  constexpr std::string_view kMidnight = " 00:00:00";
  std::string text = TimeText(iso);
  const bool bare = text.ends_with(kMidnight);
  return bare ? text.substr(0, text.size() - kMidnight.size()) : text;
}

std::string CapacityText(const Model::Component& component) {
  if (!component.capacity_bytes) {
    return "";
  }
  const auto bytes = static_cast<double>(*component.capacity_bytes);
  return component.kind == "drive" ? Scaled(bytes, 1000, {"B", "kB", "MB", "GB", "TB", "PB"})
                                   : Scaled(bytes, 1024, {"B", "KiB", "MiB", "GiB", "TiB"});
}

std::string AddressText(const Model::NetworkAddress& address) {
  std::string text = Text::EscapeControl(address.address);
  text += address.prefix_length ? fmt::format("/{}", *address.prefix_length) : "";
  return text + (address.origin.empty() ? "" : " (" + Text::EscapeControl(address.origin) + ")");
}

Model::Health HealthOf(const std::string& word) {
  for (const Model::Health health : {Model::Health::Ok, Model::Health::Warning, Model::Health::Critical}) {
    if (word == Model::NameOf(health)) {
      return health;
    }
  }
  return Model::Health::Unknown;
}

}  // namespace Kelvar::Tool
