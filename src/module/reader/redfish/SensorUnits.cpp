#include "module/reader/redfish/SensorUnits.h"

#include <algorithm>
#include <array>

#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

struct UnitRow {
  std::string_view spelling;  ///< in lower case
  const char* unit;
  double factor;
};

constexpr std::array<UnitRow, 42> kUnits = {{
    {"cel", "Cel", 1},
    {"c", "Cel", 1},
    {"celsius", "Cel", 1},
    {"degrees celsius", "Cel", 1},
    {"degrees c", "Cel", 1},
    {"degree c", "Cel", 1},
    {"\xC2\xB0"
     "c",
     "Cel", 1},
    {"%", "%", 1},
    {"percent", "%", 1},
    {"v", "V", 1},
    {"volts", "V", 1},
    {"mv", "V", 1e-3},
    {"a", "A", 1},
    {"amps", "A", 1},
    {"amperes", "A", 1},
    {"ma", "A", 1e-3},
    {"w", "W", 1},
    {"watts", "W", 1},
    {"mw", "W", 1e-3},
    {"kw", "W", 1e3},
    {"j", "J", 1},
    {"joules", "J", 1},
    {"kj", "J", 1e3},
    {"kw.h", "J", 3.6e6},
    {"kwh", "J", 3.6e6},
    {"w.h", "J", 3600},
    {"wh", "J", 3600},
    {"rpm", "{rev}/min", 1},
    {"{rev}/min", "{rev}/min", 1},
    {"rev/min", "{rev}/min", 1},
    {"r/min", "{rev}/min", 1},
    {"hz", "Hz", 1},
    {"hertz", "Hz", 1},
    {"khz", "Hz", 1e3},
    {"mhz", "Hz", 1e6},
    {"ghz", "Hz", 1e9},
    {"pa", "Pa", 1},
    {"kpa", "Pa", 1e3},
    {"hpa", "Pa", 100},
    {"m", "m", 1},
    {"cm", "m", 0.01},
    {"meters", "m", 1},
}};

struct TypeRow {
  std::string_view type;  ///< DMTF's reading type
  const char* kind;
  std::string_view units;  ///< where the sensor names none
};

constexpr std::array<TypeRow, 25> kTypes = {{
    {"Temperature", "temperature", "Cel"},
    {"Humidity", "humidity", "%"},
    {"AbsoluteHumidity", "humidity", "g/m3"},
    {"Power", "power", "W"},
    {"EnergykWh", "energy", "kW.h"},
    {"EnergyWh", "energy", "W.h"},
    {"EnergyJoules", "energy", "J"},
    {"Voltage", "voltage", "V"},
    {"Current", "current", "A"},
    {"Frequency", "frequency", "Hz"},
    {"Rotational", "fan", "RPM"},
    {"Percent", "percent", "%"},
    {"Pressure", "pressure", "Pa"},
    {"PressurePa", "pressure", "Pa"},
    {"PressurekPa", "pressure", "kPa"},
    {"Barometric", "pressure", "mm[Hg]"},
    {"Altitude", "altitude", "m"},
    {"AirFlow", "other", "[cft_i]/min"},
    {"AirFlowCMM", "other", "m3/min"},
    {"LiquidFlow", "other", "L/s"},
    {"LiquidFlowLPM", "other", "L/min"},
    {"LiquidLevel", "other", "cm"},
    {"ChargeAh", "other", "A.h"},
    {"Heat", "other", "kW"},
    {"Valve", "percent", "%"},
}};

struct KindRow {
  std::string_view unit;
  const char* kind;
};

constexpr std::array<KindRow, 10> kKindByUnit = {{
    {"Cel", "temperature"},
    {"V", "voltage"},
    {"A", "current"},
    {"W", "power"},
    {"J", "energy"},
    {"{rev}/min", "fan"},
    {"Hz", "frequency"},
    {"Pa", "pressure"},
    {"m", "altitude"},
    {"%", "percent"},
}};

struct PropertyRow {
  std::string_view end;
  std::string_view type;
};

constexpr std::array<PropertyRow, 23> kProperties = {{
    {"Celsius", "Temperature"},
    {"HumidityPercent", "Humidity"},
    {"AbsoluteHumidity", "AbsoluteHumidity"},
    {"Percent", "Percent"},
    {"PowerWatts", "Power"},
    {"PowerLoadWatts", "Power"},
    {"EnergykWh", "EnergykWh"},
    {"EnergyJoules", "EnergyJoules"},
    {"Voltage", "Voltage"},
    {"Voltages", "Voltage"},
    {"Volts", "Voltage"},
    {"Amps", "Current"},
    {"FrequencyHz", "Frequency"},
    {"Hz", "Frequency"},
    {"ChargeAh", "ChargeAh"},
    {"AmpHours", "ChargeAh"},
    {"WattHours", "EnergyWh"},
    {"CubicMetersPerMinute", "AirFlowCMM"},
    {"RPM", "Rotational"},
    {"LitersPerMinute", "LiquidFlowLPM"},
    {"PressurekPa", "PressurekPa"},
    {"HeatRemovedkW", "Heat"},
    {"PowerFactor", ""},
}};

}  // namespace

std::string_view TypeOfProperty(std::string_view property) {
  for (const PropertyRow& row : kProperties) {
    if (property.size() >= row.end.size() && property.substr(property.size() - row.end.size()) == row.end) {
      return row.type;
    }
  }
  return {};
}

ReadingShape ShapeOf(std::string_view readingType, std::string_view readingUnits, std::string_view name) {
  ReadingShape shape;
  const auto type =
      std::find_if(kTypes.begin(), kTypes.end(), [&](const TypeRow& row) { return row.type == readingType; });
  const std::string_view units = readingUnits.empty() && type != kTypes.end() ? type->units : readingUnits;
  const std::string spelling = Lower(units);
  const auto unit =
      std::find_if(kUnits.begin(), kUnits.end(), [&](const UnitRow& row) { return row.spelling == spelling; });
  shape.unit = unit != kUnits.end() ? unit->unit : units;
  shape.factor = unit != kUnits.end() ? unit->factor : 1;
  if (type != kTypes.end()) {
    shape.kind = type->kind;
  } else {
    const auto byUnit = std::find_if(kKindByUnit.begin(), kKindByUnit.end(),
                                     [&](const KindRow& row) { return row.unit == shape.unit; });
    shape.kind = byUnit != kKindByUnit.end() ? byUnit->kind : "other";
  }
  const std::string lower = Lower(name);
  const bool isUse = lower.find("util") != std::string::npos || lower.find("usage") != std::string::npos;
  if (shape.kind == "percent" && isUse) {
    shape.kind = "utilization";
  }
  return shape;
}

}  // namespace Kelvar::Reader
