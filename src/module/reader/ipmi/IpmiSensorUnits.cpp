#include "module/reader/ipmi/IpmiSensorUnits.h"

#include <array>

namespace Kelvar::Reader::Ipmi {

namespace {

/// By unit code.
constexpr std::array<const char*, 93> kUnits = {"",
                                                "Cel",
                                                "[degF]",
                                                "K",
                                                "V",
                                                "A",
                                                "W",
                                                "J",
                                                "C",
                                                "V.A",
                                                "cd/m2",
                                                "lm",
                                                "lx",
                                                "cd",
                                                "kPa",
                                                "[psi]",
                                                "N",
                                                "[cft_i]/min",
                                                "{rev}/min",
                                                "Hz",
                                                "us",
                                                "ms",
                                                "s",
                                                "min",
                                                "h",
                                                "d",
                                                "wk",
                                                "[mil_i]",
                                                "[in_i]",
                                                "[ft_i]",
                                                "[cin_i]",
                                                "[cft_i]",
                                                "mm",
                                                "cm",
                                                "m",
                                                "cm3",
                                                "m3",
                                                "L",
                                                "[foz_us]",
                                                "rad",
                                                "sr",
                                                "{rev}",
                                                "{cycle}",
                                                "[g]",
                                                "[oz_av]",
                                                "[lb_av]",
                                                "[ft_i].[lbf_av]",
                                                "[oz_av].[in_i]",
                                                "G",
                                                "Gb",
                                                "H",
                                                "mH",
                                                "F",
                                                "uF",
                                                "Ohm",
                                                "S",
                                                "mol",
                                                "Bq",
                                                "[ppm]",
                                                "",
                                                "dB",
                                                "dB[A]",
                                                "dB[C]",
                                                "Gy",
                                                "Sv",
                                                "K",
                                                "bit",
                                                "kbit",
                                                "Mbit",
                                                "Gbit",
                                                "By",
                                                "kBy",
                                                "MBy",
                                                "GBy",
                                                "{word}",
                                                "{dword}",
                                                "{qword}",
                                                "{line}",
                                                "{hit}",
                                                "{miss}",
                                                "{retry}",
                                                "{reset}",
                                                "{overrun}",
                                                "{underrun}",
                                                "{collision}",
                                                "{packet}",
                                                "{message}",
                                                "{character}",
                                                "{error}",
                                                "{correctable error}",
                                                "{uncorrectable error}",
                                                "{fatal error}",
                                                "g"};

constexpr std::array<const char*, 8> kRates = {"", "/us", "/ms", "/s", "/min", "/h", "/d", ""};

std::string UnitOf(u8 code) {
  return code < kUnits.size() ? kUnits[code] : "";
}

/// The kind that a unit alone tells; null for others.
const char* KindOfUnit(u8 code) noexcept {
  switch (code) {
    case 1:
    case 2:
    case 3:
      return "temperature";
    case 4:
      return "voltage";
    case 5:
      return "current";
    case 6:
    case 9:
      return "power";
    case 7:
      return "energy";
    case 14:
    case 15:
      return "pressure";
    case 17:
    case 18:
      return "fan";
    case 19:
      return "frequency";
    default:
      return nullptr;
  }
}

}  // namespace

std::string UnitText(const UnitFields& units) {
  if (units.IsPercent()) {
    return "%";
  }
  std::string text = UnitOf(units.base);
  const std::string modifier = UnitOf(units.modifier);
  if (!text.empty() && !modifier.empty() && units.ModifierUse() == 1) {
    text += "/" + modifier;
  } else if (!text.empty() && !modifier.empty() && units.ModifierUse() == 2) {
    text += "." + modifier;
  }
  return text.empty() ? text : text + kRates[units.Rate()];
}

const char* NumericKind(u8 sensorType, const UnitFields& units) noexcept {
  constexpr u8 kFan = 4;
  if (units.IsPercent()) {
    return sensorType == kFan ? "fan" : "percent";
  }
  if (const char* kind = units.ModifierUse() == 0 ? KindOfUnit(units.base) : nullptr) {
    return kind;
  }
  static constexpr std::array<const char*, 5> kTypes = {"other", "temperature", "voltage", "current", "fan"};
  return units.base == 0 && sensorType < kTypes.size() ? kTypes[sensorType] : "other";
}

}  // namespace Kelvar::Reader::Ipmi
