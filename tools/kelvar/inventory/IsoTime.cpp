#include "tools/kelvar/inventory/IsoTime.h"

#include <chrono>
#include <cstdio>

namespace Kelvar::Tool {

namespace {

/// Minutes east of UTC that the zone at the end of a time stands for.
std::optional<int> MinutesEast(const std::string& zone) {
  if (zone == "Z") {
    return 0;
  }
  char sign[2] = {};
  int hours = 0;
  int minutes = 0;
  int used = 0;
  if (std::sscanf(zone.c_str(), "%1[+-]%2d:%2d%n", sign, &hours, &minutes, &used) != 3 ||
      static_cast<std::size_t>(used) != zone.size()) {
    return std::nullopt;
  }
  return sign[0] == '-' ? -(60 * hours + minutes) : 60 * hours + minutes;
}

}  // namespace

std::optional<std::int64_t> SecondsOfIsoTime(const std::string& iso) {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  int used = 0;
  if (std::sscanf(iso.c_str(), "%4d-%2u-%2uT%2u:%2u:%2u%n", &year, &month, &day, &hour, &minute, &second, &used) != 6) {
    return std::nullopt;
  }
  const std::size_t zone = iso.find_first_of("+-Z", static_cast<std::size_t>(used));
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
  const auto east = zone == std::string::npos ? std::nullopt : MinutesEast(iso.substr(zone));
  if (!date.ok() || !east || hour > 23 || minute > 59 || second > 60) {
    return std::nullopt;
  }
  const auto time = std::chrono::sys_days(date) + std::chrono::hours(hour) + std::chrono::minutes(minute) +
                    std::chrono::seconds(second) - std::chrono::minutes(*east);
  return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

}  // namespace Kelvar::Tool
