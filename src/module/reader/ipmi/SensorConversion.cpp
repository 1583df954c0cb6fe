#include "module/reader/ipmi/SensorConversion.h"

#include <cmath>

namespace Kelvar::Reader::Ipmi {

namespace {

/// A two's complement number in the lowest `bits`.
int SignExtended(unsigned value, unsigned bits) noexcept {
  const unsigned sign = 1U << (bits - 1);
  return static_cast<int>(value ^ sign) - static_cast<int>(sign);
}

std::optional<int> SignedRaw(u8 raw, UnitFields::Format format) noexcept {
  switch (format) {
    case UnitFields::Format::Unsigned:
      return raw;
    case UnitFields::Format::OnesComplement:
      return raw < 0x80 ? raw : raw - 0xFF;
    case UnitFields::Format::TwosComplement:
      return raw < 0x80 ? raw : raw - 0x100;
    case UnitFields::Format::None:
      break;
  }
  return std::nullopt;
}

/// Ten to the power of 0 to 22 is exact in a double, and so are the whole numbers that are scaled here: a result is
/// the double next to the true decimal number.
double TimesPowerOfTen(double number, int exponent) noexcept {
  const double power = std::pow(10.0, std::abs(exponent));
  return exponent < 0 ? number / power : number * power;
}

double Linear(int x, const ConversionFactors& factors) noexcept {
  const double product = static_cast<double>(factors.m) * x;
  if (factors.bExponent >= 0) {
    return TimesPowerOfTen(product + TimesPowerOfTen(factors.b, factors.bExponent), factors.resultExponent);
  }
  const double scaled = TimesPowerOfTen(product, -factors.bExponent) + factors.b;
  return TimesPowerOfTen(scaled, factors.bExponent + factors.resultExponent);
}

double Linearised(u8 function, double y) noexcept {
  switch (function) {
    case 0x00:
      return y;
    case 0x01:
      return std::log(y);
    case 0x02:
      return std::log10(y);
    case 0x03:
      return std::log2(y);
    case 0x04:
      return std::exp(y);
    case 0x05:
      return std::pow(10.0, y);
    case 0x06:
      return std::exp2(y);
    case 0x07:
      return 1.0 / y;
    case 0x08:
      return y * y;
    case 0x09:
      return y * y * y;
    case 0x0A:
      return std::sqrt(y);
    case 0x0B:
      return std::cbrt(y);
    default:
      return function >= 0x70 ? y : std::nan("");
  }
}

}  // namespace

ConversionFactors ParseFactors(u8 linearisation, std::span<const u8, 6> bytes) noexcept {
  const auto ten = [bytes](std::size_t low) {
    return SignExtended(static_cast<unsigned>(bytes[low] | ((bytes[low + 1] & 0xC0) << 2)), 10);
  };
  ConversionFactors factors;
  factors.linearisation = linearisation & 0x7F;
  factors.m = ten(0);
  factors.b = ten(2);
  factors.resultExponent = SignExtended(bytes[5] >> 4, 4);
  factors.bExponent = SignExtended(bytes[5] & 0x0F, 4);
  return factors;
}

std::optional<double> ConvertReading(u8 raw, UnitFields::Format format, const ConversionFactors& factors) noexcept {
  const std::optional<int> x = SignedRaw(raw, format);
  if (!x || (factors.m == 0 && factors.b == 0)) {
    return std::nullopt;
  }
  const double y = Linearised(factors.linearisation, Linear(*x, factors));
  return std::isfinite(y) ? std::optional<double>(y + 0.0) : std::nullopt;  // + 0.0: no negative zero
}

}  // namespace Kelvar::Reader::Ipmi
