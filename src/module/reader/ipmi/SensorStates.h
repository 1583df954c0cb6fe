#pragma once

#include <string>
#include <vector>

#include <kelvar/Inventory.h>
#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// What an offset of an event/reading type stands for.
struct SensorState {
  const char* text = nullptr;  ///< the standard's words; null for an offset without a meaning
  Model::Health severity = Model::Health::Unknown;
};

/// `eventType` 02 to 0C: generic states; 6F: those of the sensor type. Everything else, and offsets without a meaning,
/// have no text.
SensorState StateOf(u8 eventType, u8 sensorType, unsigned offset) noexcept;

/// Offsets 0 to 11 of event/reading type 01: "upper critical going high".
SensorState ThresholdEventOf(unsigned offset) noexcept;

/// "temperature", "power supply"; null for a type that the standard does not know.
const char* SensorTypeName(u8 sensorType) noexcept;

/// The asserted states of a discrete sensor. States of a manufacturer's own types, and offsets without a meaning, are
/// "state 3".
struct DiscreteStates {
  std::vector<std::string> words;
  Model::Health health =
      Model::Health::Unknown;  ///< the worst of what has one; Ok when states are known and none is set
};
DiscreteStates DecodeStates(u8 eventType, u8 sensorType, u16 bits);

/// Health of a sensor with thresholds, by the crossed ones in bits 0 to 5 of its reading.
Model::Health HealthOfCrossed(u8 bits) noexcept;

}  // namespace Kelvar::Reader::Ipmi
