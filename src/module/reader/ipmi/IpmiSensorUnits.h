#pragma once

#include <string>

#include "module/reader/ipmi/SensorConversion.h"

namespace Kelvar::Reader::Ipmi {

/// UCUM text of a sensor's unit: "Cel", "{rev}/min", "V", "%", "By/s"; empty when it has none.
std::string UnitText(const UnitFields& units);

/// The model's kind of a sensor with readings: "temperature", "fan", "power", "percent", ...; "other" at worst.
const char* NumericKind(u8 sensorType, const UnitFields& units) noexcept;

}  // namespace Kelvar::Reader::Ipmi
