#pragma once

#include <optional>
#include <span>

#include <kelvar/Types.h>

namespace Kelvar::Reader::Ipmi {

/// The three unit bytes of a sensor record.
struct UnitFields {
  u8 flags = 0;
  u8 base = 0;
  u8 modifier = 0;

  enum class Format : u8 { Unsigned, OnesComplement, TwosComplement, None };
  Format AnalogFormat() const noexcept { return static_cast<Format>(flags >> 6); }
  u8 Rate() const noexcept { return (flags >> 3) & 0x07; }
  u8 ModifierUse() const noexcept { return (flags >> 1) & 0x03; }
  bool IsPercent() const noexcept { return (flags & 0x01) != 0; }
};

/// y = L[(M x + B 10^bExponent) 10^resultExponent]
struct ConversionFactors {
  u8 linearisation = 0;
  int m = 0;
  int b = 0;
  int bExponent = 0;
  int resultExponent = 0;

  /// The factors hold for one raw value only and have to be asked for with it.
  bool IsNonLinear() const noexcept { return linearisation >= 0x70; }
};

/// The six bytes from "M" to the exponents, as a full record and Get Sensor Reading Factors have them.
ConversionFactors ParseFactors(u8 linearisation, std::span<const u8, 6> bytes) noexcept;

/// Nothing for a sensor without numbers, factors that are all zero, an unknown linearisation, and a result that is no
/// finite number.
std::optional<double> ConvertReading(u8 raw, UnitFields::Format format, const ConversionFactors& factors) noexcept;

}  // namespace Kelvar::Reader::Ipmi
