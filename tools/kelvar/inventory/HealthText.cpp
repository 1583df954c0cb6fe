#include "tools/kelvar/inventory/HealthText.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/inventory/DisplayText.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"
#include "tools/kelvar/inventory/TableLayout.h"

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kMostReasons = 5;    // of a line that others show whole
constexpr std::size_t kMostReadings = 64;  // monitoring systems cut lines of some kilobytes

int RankOf(HealthCode code) {
  constexpr HealthCode kOrder[] = {HealthCode::Ok, HealthCode::Unknown, HealthCode::Warning, HealthCode::Critical};
  return static_cast<int>(std::find(std::begin(kOrder), std::end(kOrder), code) - std::begin(kOrder));
}

const char* WordOf(HealthCode code) {
  switch (code) {
    case HealthCode::Ok:
      return "OK";
    case HealthCode::Warning:
      return "WARNING";
    case HealthCode::Critical:
      return "CRITICAL";
    case HealthCode::Unknown:
      break;
  }
  return "UNKNOWN";
}

/// The bar and the quote have a meaning in the format.
std::string Plain(const std::string& text) {
  std::string plain = Text::EscapeControl(text);
  std::replace(plain.begin(), plain.end(), '|', '/');
  std::replace(plain.begin(), plain.end(), '\'', '`');
  return plain;
}

std::string RangeText(const std::optional<double>& lower, const std::optional<double>& upper) {
  if (!lower && !upper) {
    return "";
  }
  return (lower ? NumberText(lower) + ":" : upper ? "~:" : "") + NumberText(upper);
}

/// Units that the format knows; others stay out.
const char* PluginUnit(const std::string& ucum) {
  return ucum == "%" ? "%" : "";
}

std::string ReadingData(const Model::Sensor& sensor) {
  const auto lower = sensor.lower_critical ? sensor.lower_critical : sensor.lower_fatal;
  const auto upper = sensor.upper_critical ? sensor.upper_critical : sensor.upper_fatal;
  std::string label = Plain(sensor.name.empty() ? sensor.id : sensor.name);
  std::replace(label.begin(), label.end(), '=', '_');
  std::string data = fmt::format("'{}'={}{};{};{};{};{}", label, NumberText(sensor.reading), PluginUnit(sensor.unit),
                                 RangeText(sensor.lower_caution, sensor.upper_caution), RangeText(lower, upper),
                                 NumberText(sensor.range_min), NumberText(sensor.range_max));
  data.erase(data.find_last_not_of(';') + 1);
  return data;
}

std::string PerformanceData(const Model::Inventory& inventory) {
  std::string text;
  std::size_t count = 0;
  for (const Model::Sensor& sensor : inventory.sensors) {
    if (sensor.reading && sensor.state != "absent" && count < kMostReadings) {
      text += " " + ReadingData(sensor);
      ++count;
    }
  }
  return text.empty() ? text : " |" + text;
}

std::string ReasonsText(const InventoryReport& report) {
  std::string text;
  std::size_t count = 0;
  for (const Model::VerdictReason& reason : report.verdict.reasons) {
    if (count == kMostReasons) {
      text += fmt::format("; and {} more", report.verdict.reasons.size() - count);
      break;
    }
    text += (count++ == 0 ? "" : "; ") + Plain(reason.text);
  }
  if (!report.error.empty()) {
    return Plain(report.error);
  }
  return text.empty() ? "nothing is wrong" : text;
}

}  // namespace

HealthCode WorseOf(HealthCode left, HealthCode right) {
  return RankOf(left) < RankOf(right) ? right : left;
}

HealthCode HealthCodeOf(const Model::Verdict& verdict) {
  switch (verdict.health) {
    case Model::Health::Ok:
      return HealthCode::Ok;
    case Model::Health::Warning:
      return HealthCode::Warning;
    case Model::Health::Critical:
      return HealthCode::Critical;
    case Model::Health::Unknown:
      break;
  }
  return HealthCode::Unknown;
}

std::string HealthText(const InventoryReport& report, Colour colour, std::size_t width) {
  std::string text = Bold(Text::EscapeControl(report.target), colour) + ": " +
                     Coloured(Model::NameOf(report.verdict.health), report.verdict.health, colour);
  text += report.error.empty() ? "\n" : " (" + Text::EscapeControl(report.error) + ")\n";
  return report.error.empty() ? text + ReasonLines(report.verdict, colour, width) : text;
}

std::string PluginText(const InventoryReport& report) {
  return fmt::format("KELVAR {} - {}{}\n", WordOf(HealthCodeOf(report.verdict)), ReasonsText(report),
                     PerformanceData(report.inventory));
}

std::string PluginErrorText(const std::string& error) {
  return fmt::format("KELVAR {} - {}\n", WordOf(HealthCode::Unknown), Plain(error));
}

int PluginCodeOf(HealthCode code) {
  switch (code) {
    case HealthCode::Ok:
      return 0;
    case HealthCode::Warning:
      return 1;
    case HealthCode::Critical:
      return 2;
    case HealthCode::Unknown:
      break;
  }
  return 3;
}

}  // namespace Kelvar::Tool
