#pragma once

#include <string>
#include <string_view>

namespace Kelvar::Reader {

/// What a reading is: its kind, its UCUM unit, and what its numbers are multiplied with to be in this unit.
struct ReadingShape {
  std::string kind = "other";
  std::string unit;
  double factor = 1;
};

/// From the type and the units that a sensor tells, either of which may be empty. `name` is its name, which tells a
/// utilization from other percentages.
ReadingShape ShapeOf(std::string_view readingType, std::string_view readingUnits, std::string_view name);

/// The type of an excerpt by the name of its property: "TemperatureCelsius" -> "Temperature"; empty for one that is no
/// reading.
std::string_view TypeOfProperty(std::string_view property);

}  // namespace Kelvar::Reader
