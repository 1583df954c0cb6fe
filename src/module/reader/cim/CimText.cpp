#include "module/reader/cim/CimText.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "module/reader/text/ModelText.h"

namespace Kelvar::Reader {

namespace {

struct WordRow {
  std::string_view told;  ///< in lower case
  const char* word;
};

constexpr std::array<WordRow, 8> kSeverities = {{
    {"information", "ok"},
    {"ok", "ok"},
    {"degraded/warning", "warning"},
    {"minor", "warning"},
    {"major", "critical"},
    {"critical", "critical"},
    {"fatal/nonrecoverable", "critical"},
    {"fatal", "critical"},
}};

// The health of CIM as the fixed operations word it.
constexpr std::array<WordRow, 8> kHealths = {{
    {"healthy", "ok"},
    {"ok", "ok"},
    {"abnormal", "warning"},
    {"degraded/warning", "warning"},
    {"minor failure", "warning"},
    {"major failure", "critical"},
    {"critical failure", "critical"},
    {"non-recoverable error", "critical"},
}};

struct UnitRow {
  std::string_view told;
  const char* kind;
  const char* unit;
};

constexpr std::array<UnitRow, 13> kUnits = {{
    {"degrees c", "temperature", "Cel"},
    {"volts", "voltage", "V"},
    {"amps", "current", "A"},
    {"watts", "power", "W"},
    {"joules", "energy", "J"},
    {"rpm", "fan", "{rev}/min"},
    {"revolutions per minute", "fan", "{rev}/min"},
    {"hertz", "frequency", "Hz"},
    {"percentage", "percent", "%"},
    {"percent", "percent", "%"},
    {"pascals", "pressure", "Pa"},
    {"relative humidity", "humidity", "%"},
    {"meters", "altitude", "m"},
}};

constexpr std::array<WordRow, 16> kComponents = {{
    {"system board", "board"},
    {"expansion board", "board"},
    {"planar", "board"},
    {"riser", "board"},
    {"backplane", "backplane"},
    {"power supply", "power_supply"},
    {"dimm", "memory"},
    {"memory", "memory"},
    {"cpu", "processor"},
    {"processor", "processor"},
    {"fan", "fan"},
    {"battery", "battery"},
    {"raid", "storage_controller"},
    {"drive", "drive"},
    {"ethernet", "network_adapter"},
    {"pci", "pcie_device"},
}};

template <std::size_t Count>
const char* Find(const std::array<WordRow, Count>& rows, std::string_view told, const char* other) {
  const std::string lower = Lower(Trim(told));
  const auto row = std::find_if(rows.begin(), rows.end(), [&](const WordRow& one) { return one.told == lower; });
  return row != rows.end() ? row->word : other;
}

bool HasDigits(std::string_view text, std::size_t count) {
  return text.size() >= count && text.substr(0, count).find_first_not_of("0123456789") == std::string_view::npos;
}

std::string Dashed(std::string_view digits) {
  return std::string(digits.substr(0, 4)) + '-' + std::string(digits.substr(4, 2)) + '-' +
         std::string(digits.substr(6, 2));
}

/// "+060", in minutes, as "+01:00".
std::string ZoneOf(std::string_view minutes) {
  if (minutes.size() != 4 || !HasDigits(minutes.substr(1), 3) || (minutes[0] != '+' && minutes[0] != '-')) {
    return {};
  }
  const int offset = (minutes[1] - '0') * 100 + (minutes[2] - '0') * 10 + (minutes[3] - '0');
  if (offset == 0) {
    return "Z";
  }
  std::array<char, 16> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%c%02d:%02d", minutes[0], offset / 60, offset % 60));
  return text.data();
}

}  // namespace

std::string DateOfBuild(std::string_view text) {
  text = Trim(text);
  return Date(text.size() == 8 && HasDigits(text, 8) ? Dashed(text) : std::string(text));
}

std::string DateTimeOfCim(std::string_view text) {
  text = Trim(text);
  if (text.size() != 25 || !HasDigits(text, 14) || text[14] != '.') {
    return DateTime(text);
  }
  const std::string time =
      std::string(text.substr(8, 2)) + ':' + std::string(text.substr(10, 2)) + ':' + std::string(text.substr(12, 2));
  const std::string_view fraction = text.substr(15, 6);
  const bool fine = HasDigits(fraction, 6) && fraction != "000000";
  return DateTime(Dashed(text) + 'T' + time + (fine ? "." + std::string(fraction) : "") + ZoneOf(text.substr(21)));
}

std::string SeverityOfCim(std::string_view word) {
  return Find(kSeverities, word, "unknown");
}

std::string HealthOfCim(std::string_view word) {
  return Find(kHealths, word, "");
}

CimUnit UnitOfCim(std::string_view baseUnits) {
  const std::string lower = Lower(Trim(baseUnits));
  const auto row = std::find_if(kUnits.begin(), kUnits.end(), [&](const UnitRow& one) { return one.told == lower; });
  if (row == kUnits.end()) {
    return {"other", CleanText(baseUnits)};
  }
  return {row->kind, row->unit};
}

std::string KindOfComponent(std::string_view name) {
  const std::string lower = Lower(name);
  for (const WordRow& row : kComponents) {
    if (lower.find(row.told) != std::string::npos) {
      return row.word;
    }
  }
  return "other";
}

}  // namespace Kelvar::Reader
