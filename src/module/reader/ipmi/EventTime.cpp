#include "module/reader/ipmi/EventTime.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u32 kLastUnset = 0x20000000;
constexpr u32 kUnspecified = 0xFFFFFFFF;

std::string CivilText(std::time_t seconds) {
  std::tm civil{};
  std::array<char, 32> text{};
  if (gmtime_r(&seconds, &civil) == nullptr ||
      std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &civil) == 0) {
    return {};
  }
  return text.data();
}

std::string ZoneText(int minutes) {
  if (minutes == 0) {
    return "Z";
  }
  const int size = std::abs(minutes);
  std::array<char, 16> text{};
  (void)std::snprintf(text.data(), text.size(), "%c%02d:%02d", minutes < 0 ? '-' : '+', size / 60, size % 60);
  return text.data();
}

/// Seconds east of UTC; nothing for what is not a zone.
std::optional<int> ZoneOf(const std::string& text) {
  if (text.empty() || text == "Z" || text == "z") {
    return 0;
  }
  unsigned hours = 0;
  unsigned minutes = 0;
  int end = 0;
  char sign = 0;
  if (std::sscanf(text.c_str(), "%c%2u:%2u%n", &sign, &hours, &minutes, &end) != 3 ||
      static_cast<std::size_t>(end) != text.size() || (sign != '+' && sign != '-') || hours > 24 || minutes > 59) {
    return std::nullopt;
  }
  const int seconds = static_cast<int>(hours * 3600 + minutes * 60);
  return sign == '-' ? -seconds : seconds;
}

}  // namespace

std::string TimeText(u32 timestamp, std::optional<int> utcOffsetMinutes) {
  if (timestamp <= kLastUnset || timestamp == kUnspecified) {
    return {};
  }
  const std::string text = CivilText(static_cast<std::time_t>(timestamp));
  return text.empty() ? text : text + ZoneText(utcOffsetMinutes.value_or(0));
}

std::optional<int> UtcOffsetOf(u16 bytes) noexcept {
  constexpr int kDay = 1440;
  const int minutes = static_cast<std::int16_t>(bytes);
  return minutes >= -kDay && minutes <= kDay ? std::optional<int>(minutes) : std::nullopt;
}

std::string UtcText(std::time_t seconds) {
  const std::string text = CivilText(seconds);
  return text.empty() ? text : text + "Z";
}

std::optional<std::int64_t> SecondsOf(const std::string& text) {
  std::tm civil{};
  const char* rest = strptime(text.c_str(), "%Y-%m-%d", &civil);
  if (rest != nullptr && (*rest == 'T' || *rest == ' ')) {
    rest = strptime(rest + 1, "%H:%M:%S", &civil);
  }
  if (rest == nullptr) {
    return std::nullopt;
  }
  const std::optional<int> zone = ZoneOf(rest);
  return zone ? std::optional<std::int64_t>(static_cast<std::int64_t>(timegm(&civil)) - *zone) : std::nullopt;
}

std::optional<std::int64_t> UtcSecondsOf(u32 timestamp, std::optional<int> utcOffsetMinutes) noexcept {
  if (timestamp <= kLastUnset || timestamp == kUnspecified) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(timestamp) - std::int64_t{60} * utcOffsetMinutes.value_or(0);
}

}  // namespace Kelvar::Reader::Ipmi
