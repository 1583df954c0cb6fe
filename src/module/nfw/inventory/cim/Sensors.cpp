#include <array>
#include <cmath>
#include <optional>

#include "common/log/LogMacros.h"
#include "common/text/NumberText.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/nfw/inventory/cim/RecordAppender.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using Pegasus::CIMInstance;

namespace {

using Led = KelvarNfw::INDICATORLEDS;
using Sensor = KelvarNfw::NUMERICSENSORS;

/// Values of ActivationState and DefaultActivationState.
const char* ActivationWord(std::optional<u16> state) {
  switch (state.value_or(0)) {
    case 2:
      return "Lit";
    case 3:
      return "Blinking";
    case 4:
      return "Off";
    case 5:
      return "ControlPattern";
    default:
      return "Unknown";
  }
}

const char* ControlModeWord(std::optional<u16> mode) {
  switch (mode.value_or(0)) {
    case 2:
      return "Automatic";
    case 3:
      return "Manual";
    case 4:
      return "Test Mode";
    default:
      return "Unknown";
  }
}

const char* HealthWord(std::optional<u16> state) {
  struct Band {
    u16 last;
    const char* word;
  };
  constexpr Band kBands[] = {
      {5, "Healthy"},        {10, "Abnormal"},         {15, "Minor Failure"},
      {20, "Major Failure"}, {25, "Critical Failure"}, {30, "Completely Failure"},
  };
  if (!state) {
    return "";
  }
  for (const Band& band : kBands) {
    if (*state <= band.last) {
      return band.word;
    }
  }
  return "Abnormal";
}

/// Values of BaseUnits of CIM_NumericSensor.
constexpr std::array kUnits = {
    "Unknown",      "Other",       "Degrees C",
    "Degrees F",    "Degrees K",   "Volts",
    "Amps",         "Watts",       "Joules",
    "Coulombs",     "VA",          "Nits",
    "Lumens",       "Lux",         "Candelas",
    "kPa",          "PSI",         "Newtons",
    "CFM",          "RPM",         "Hertz",
    "Seconds",      "Minutes",     "Hours",
    "Days",         "Weeks",       "Mils",
    "Inches",       "Feet",        "Cubic Inches",
    "Cubic Feet",   "Meters",      "Cubic Centimeters",
    "Cubic Meters", "Liters",      "Fluid Ounces",
    "Radians",      "Steradians",  "Revolutions",
    "Cycles",       "Gravities",   "Ounces",
    "Pounds",       "Foot-Pounds", "Ounce-Inches",
    "Gauss",        "Gilberts",    "Henries",
    "Farads",       "Ohms",        "Siemens",
    "Moles",        "Becquerels",  "PPM (parts/million)",
    "Decibels",     "DbA",         "DbC",
    "Grays",        "Sieverts",    "Color Temperature Degrees K",
    "Bits",         "Bytes",       "Words (data)",
    "DoubleWords",  "QuadWords",   "Percentage",
    "Pascals",
};
static_assert(kUnits.size() == 67);

const char* UnitWord(std::optional<u16> unit) {
  return unit && *unit < kUnits.size() ? kUnits[*unit] : "Unknown";
}

constexpr CIMField<Led> kLedFields[] = {
    {"DeviceID", kText<&Led::DeviceID>},
    {"ElementName", kText<&Led::ElementName>},
    {"ActivationState", kWord<&Led::ActivationState, ActivationWord>},
    {"DefaultActivationState", kWord<&Led::DefaultActivationState, ActivationWord>},
    {"ControlMode", kWord<&Led::ControlMode, ControlModeWord>},
    {"OtherIdentifyinginfo", kText<&Led::OtherIdentifyingInfo>},
};

constexpr CIMField<Sensor> kUnitFields[] = {{"BaseUnits", kWord<&Sensor::BaseUnits, UnitWord>}};

constexpr CIMField<Sensor> kSensorFields[] = {
    {"LowerThresholdCritical", kFloat<&Sensor::LowerThresholdCritical>},
    {"LowerThresholdFatal", kFloat<&Sensor::LowerThresholdFatal>},
    {"LowerThresholdNonCritical", kFloat<&Sensor::LowerThresholdNonCritical>},
    {"CurrentState", kText<&Sensor::CurrentState>},
    {"DeviceID", kText<&Sensor::DeviceID>},
    {"Caption", kText<&Sensor::Caption>},
    {"Description", kText<&Sensor::Description>},
    {"ElementName", kText<&Sensor::ElementName>},
    {"HealthState", kWord<&Sensor::HealthState, HealthWord>},
};

constexpr auto kLedTexts = TextsOf(kLedFields);
constexpr auto kSensorTexts = TextsOf(kUnitFields, kSensorFields);

/// The reading, scaled by a power of ten. The sign of the modifier does not count: it always divides.
void ReadReading(const CIMInstance& instance, Sensor& sensor) {
  const auto value = FindCIMValue(instance, "CurrentReading");
  if (!value) {
    return;
  }
  Pegasus::Sint32 reading = 0;
  value->get(reading);
  const auto modifier = FindCIMText(instance, "UnitModifier");
  const double scale = modifier ? std::pow(10.0, std::fabs(Text::ParseClampedInt(*modifier))) : 1.0;
  sensor.CurrentReading = static_cast<float>(reading / scale);
}

}  // namespace

Code NodeFirmwareInventoryImpCIM::GetZMCIndicatorLED(std::vector<Led>& list) {
  list.clear();
  Led record;
  record.ZMCIndex = info.ZMCIndex;
  RecordAppender<Led> append(list, kLedTexts.View());
  const auto take = [&](const CIMInstance& instance) {
    ReadCIMFields(instance, kLedFields, record);
    append(record);
    KELVAR_LOG(4) << "Push back BMCILED instance to vector";
  };
  return Walk("GetZMCIndicatorLED", "CIM_IndicatorLED", take);
}

Code NodeFirmwareInventoryImpCIM::GetZMCNumericSensors(std::vector<Sensor>& list) {
  list.clear();
  Sensor record;
  record.ZMCIndex = info.ZMCIndex;
  RecordAppender<Sensor> append(list, kSensorTexts.View());
  const bool repeats = !connection_->KeptOptions().options.no_thresholds_of_other_sensors;
  const auto take = [&](const CIMInstance& instance) {
    if (!repeats) {
      record.LowerThresholdCritical = record.LowerThresholdFatal = record.LowerThresholdNonCritical = 0;
    }
    ReadCIMFields(instance, kUnitFields, record);
    ReadReading(instance, record);
    ReadCIMFields(instance, kSensorFields, record);
    append(record);
    KELVAR_LOG(4) << "Push back BMCNumSensor instance to vector";
  };
  return Walk("GetZMCNumericSensors", "CIM_NumericSensor", take);
}

}  // namespace Kelvar
