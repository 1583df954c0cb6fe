#include "module/reader/ipmi/SensorThresholds.h"

#include <algorithm>
#include <cstdlib>

#include "common/text/ByteReader.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kAllThresholds = 0x3F;

bool IsUpper(std::size_t threshold) noexcept {
  return threshold >= kUpperNonCritical;
}

bool Has(u8 bits, std::size_t threshold) noexcept {
  return (bits & (1U << threshold)) != 0;
}

std::optional<double> ValueOf(const SensorRecord& record, u8 raw) {
  return ConvertReading(raw, record.units.AnalogFormat(), *record.factors);
}

/// The standard counts a reading at an upper threshold as beyond it, some targets do not.
bool IsBeyond(const SensorRecord& record, std::size_t threshold, u8 limit, u8 raw) {
  const auto value = ValueOf(record, raw);
  const auto bound = ValueOf(record, limit);
  return value && bound && (IsUpper(threshold) ? *value > *bound : *value < *bound);
}

/// Steps between two raw values.
unsigned Distance(const SensorRecord& record, u8 left, u8 right) noexcept {
  const auto number = [&record](u8 raw) {
    const bool negative = record.units.AnalogFormat() != UnitFields::Format::Unsigned && raw >= 0x80;
    return negative ? raw - 0x100 : int{raw};
  };
  return static_cast<unsigned>(std::abs(number(left) - number(right)));
}

}  // namespace

RawThresholds ThresholdsOf(const SensorRecord& record) noexcept {
  return {record.readableThresholds, record.thresholds};
}

std::optional<RawThresholds> ParseThresholds(std::span<const u8> data) noexcept {
  Text::ByteReader reader(data);
  RawThresholds thresholds;
  thresholds.readable = reader.U8() & kAllThresholds;
  for (u8& value : thresholds.values) {
    value = reader.U8();
  }
  return reader.Ok() ? std::optional<RawThresholds>(thresholds) : std::nullopt;
}

bool Contradicts(const SensorRecord& record, const RawThresholds& thresholds, const CrossedThresholds& reading) {
  for (std::size_t threshold = 0; threshold < kThresholdCount; ++threshold) {
    if (!Has(thresholds.readable, threshold)) {
      continue;
    }
    const u8 limit = thresholds.values[threshold];
    const u8 hysteresis = IsUpper(threshold) ? record.positiveHysteresis : record.negativeHysteresis;
    const bool beyond = IsBeyond(record, threshold, limit, reading.raw);
    const bool crossed = Has(reading.crossed, threshold);
    if ((beyond && !crossed) || (crossed && !beyond && Distance(record, limit, reading.raw) > hysteresis)) {
      return true;
    }
  }
  return false;
}

void DropUnset(const SensorRecord& record, const std::optional<CrossedThresholds>& reading, RawThresholds& thresholds) {
  const bool isUnsigned = record.units.AnalogFormat() == UnitFields::Format::Unsigned;
  for (std::size_t threshold = 0; threshold < kThresholdCount; ++threshold) {
    if (!Has(thresholds.readable, threshold) || thresholds.values[threshold] != 0) {
      continue;
    }
    const bool ignored = reading && !Has(reading->crossed, threshold) && IsBeyond(record, threshold, 0, reading->raw);
    const bool always = isUnsigned && IsUpper(threshold) && IsBeyond(record, threshold, 0, 1);
    if (ignored || (always && !(reading && Has(reading->crossed, threshold)))) {
      thresholds.readable &= static_cast<u8>(~(1U << threshold));
    }
  }
}

bool StandsForNone(const SensorRecord& record, const CrossedThresholds& reading) {
  constexpr u8 kCelsius = 1;
  constexpr std::array<int, 3> kEnds = {127, -128, 255};
  const bool plain = record.factors && record.factors->m == 1 && record.factors->b == 0 &&
                     record.factors->resultExponent == 0 && record.factors->linearisation == 0;
  if (!plain || record.units.base != kCelsius || record.units.ModifierUse() != 0 || record.units.IsPercent() ||
      (reading.crossed & kAllThresholds) != 0) {
    return false;
  }
  const auto value = ValueOf(record, reading.raw);
  return value && std::find(kEnds.begin(), kEnds.end(), static_cast<int>(*value)) != kEnds.end();
}

}  // namespace Kelvar::Reader::Ipmi
