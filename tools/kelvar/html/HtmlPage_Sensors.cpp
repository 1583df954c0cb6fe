#include <algorithm>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "tools/kelvar/Report.h"
#include "tools/kelvar/html/HtmlPage_Parts.h"
#include "tools/kelvar/html/HtmlText.h"

namespace Kelvar::Tool {

namespace {

struct Threshold {
  const char* field;
  const char* name;
  bool lower;
};

constexpr Threshold thresholds[] = {
    {"LowerThresholdFatal", "lower fatal", true},         {"LowerThresholdCritical", "lower critical", true},
    {"LowerThresholdNonCritical", "lower warning", true}, {"UpperThresholdNonCritical", "upper warning", false},
    {"UpperThresholdCritical", "upper critical", false},  {"UpperThresholdFatal", "upper fatal", false}};

double NumberOf(const Record& record, const char* name) {
  const Value* const value = FieldOf(record, name);
  const float* const number = value == nullptr ? nullptr : std::get_if<float>(value);
  return number != nullptr && std::isfinite(*number) ? static_cast<double>(*number) : 0.0;
}

/// Where a reading stands between its thresholds. A threshold of 0 is one that the target does not tell.
class Scale {
 public:
  explicit Scale(const Record& record) : reading_(NumberOf(record, "CurrentReading")), low_(reading_), high_(reading_) {
    for (const Threshold& threshold : thresholds) {
      const double value = NumberOf(record, threshold.field);
      if (value == 0) {
        continue;
      }
      limits_.push_back(value);
      names_ += fmt::format("{}{} {:g}", names_.empty() ? "" : ", ", threshold.name, value);
      if (threshold.lower) {
        good_ = std::max(good_, value);
      } else {
        goodEnd_ = std::min(goodEnd_, value);
      }
      low_ = std::min(low_, value);
      high_ = std::max(high_, value);
    }
    const double margin = std::max((high_ - low_) * 0.1, 1e-6);
    low_ = low_ > 0 && good_ == lowest ? 0 : low_ - margin;
    high_ += margin;
  }

  /// A target that calls a reading healthy outside its zone tells thresholds in another unit.
  bool Drawable(bool healthy) const {
    const bool outside = reading_ < good_ || reading_ > goodEnd_;
    return Known() && !(healthy && outside);
  }

  bool Known() const { return !limits_.empty() && std::isfinite(high_ - low_); }
  const std::string& Names() const { return names_; }

  std::string Svg() const {
    const double zone = std::max(good_, low_);
    const double zoneEnd = std::min(goodEnd_, high_);
    std::string svg = fmt::format(
        "<svg class=\"bar\" viewBox=\"0 0 100 10\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"{:g}; {}\">"
        "<rect class=\"track\" width=\"100\" height=\"10\" rx=\"1\"/>"
        "<rect class=\"zone\" x=\"{:.1f}\" width=\"{:.1f}\" height=\"10\"/>",
        reading_, names_, At(zone), std::max(At(zoneEnd) - At(zone), 0.0));
    for (const double limit : limits_) {
      svg += fmt::format("<rect class=\"limit\" x=\"{:.1f}\" y=\"2\" width=\"0.6\" height=\"6\"/>", At(limit));
    }
    return svg + fmt::format("<rect class=\"reading\" x=\"{:.1f}\" width=\"2\" height=\"10\"/></svg>",
                             std::clamp(At(reading_) - 1, 0.0, 98.0));
  }

 private:
  static constexpr double lowest = std::numeric_limits<double>::lowest();

  double At(double value) const { return (value - low_) / (high_ - low_) * 100; }

  double reading_;
  double low_;
  double high_;
  double good_ = lowest;  ///< where the zone without a warning begins
  double goodEnd_ = std::numeric_limits<double>::max();
  std::vector<double> limits_;
  std::string names_;
};

std::string RowOf(const Record& record, bool scaled) {
  const Scale scale(record);
  const std::string health = FieldText(record, "HealthState");
  const bool drawable = scaled && scale.Drawable(std::string_view(MoodOf(health)) == "ok");
  const char* const raw = scaled ? "" : " (the target's counts, not in the reading's unit)";
  return fmt::format(
      "<tr><th scope=\"row\">{}</th><td class=\"number\">{} {}</td><td>{}</td><td class=\"soft\">{}</td><td>{}</td>"
      "<td class=\"{}\">{}</td></tr>\n",
      Escaped(FieldText(record, "ElementName")), Escaped(FieldText(record, "CurrentReading")),
      Escaped(FieldText(record, "BaseUnits")), drawable ? scale.Svg() : "", scale.Known() ? scale.Names() + raw : "",
      Escaped(FieldText(record, "CurrentState")), MoodOf(health), Escaped(health));
}

}  // namespace

std::string SensorTable(const std::vector<Record>& records, Protocol protocol) {
  std::string table =
      "<div class=\"scroll\" tabindex=\"0\"><table class=\"wide\"><thead><tr><th scope=\"col\">Sensor</th>"
      "<th scope=\"col\" class=\"number\">Reading</th><th scope=\"col\">Between its thresholds</th>"
      "<th scope=\"col\">Thresholds</th><th scope=\"col\">State</th><th "
      "scope=\"col\">Health</th></tr></thead><tbody>\n";
  for (const Record& record : records) {
    table += RowOf(record, ThresholdsAreScaled(record, protocol));
  }
  return table + "</tbody></table></div>\n";
}

}  // namespace Kelvar::Tool
