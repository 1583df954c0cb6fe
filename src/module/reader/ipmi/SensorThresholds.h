#pragma once

#include <span>

#include "module/reader/ipmi/SdrRecord.h"

namespace Kelvar::Reader::Ipmi {

// All for sensors with the same factors for every reading.

/// Raw thresholds, and a bit for each one that can be read.
struct RawThresholds {
  u8 readable = 0;
  std::array<u8, kThresholdCount> values{};
};

/// Those of a sensor data record.
RawThresholds ThresholdsOf(const SensorRecord& record) noexcept;
/// Get Sensor Thresholds; nothing of a response that is cut.
std::optional<RawThresholds> ParseThresholds(std::span<const u8> data) noexcept;

/// What a reading says of thresholds.
struct CrossedThresholds {
  u8 raw = 0;      ///< the reading
  u8 crossed = 0;  ///< a bit for each threshold that the reading is beyond
};

/// Whether the target compares with other thresholds than these: a reading is beyond one that it does not tell as
/// crossed, or tells one as crossed and is further from it than the hysteresis.
bool Contradicts(const SensorRecord& record, const RawThresholds& thresholds, const CrossedThresholds& reading);

/// Takes away thresholds of 00 that were never set: a reading beyond one does not tell it as crossed, or any reading
/// would be beyond it.
void DropUnset(const SensorRecord& record, const std::optional<CrossedThresholds>& reading, RawThresholds& thresholds);

/// Some sensors give the end of their range in place of a reading that they do not have: 127, -128 and 255 degrees
/// Celsius, without a threshold that is crossed.
bool StandsForNone(const SensorRecord& record, const CrossedThresholds& reading);

}  // namespace Kelvar::Reader::Ipmi
