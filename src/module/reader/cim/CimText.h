#pragma once

#include <string>
#include <string_view>

namespace Kelvar::Reader {

// Words and dates of the fixed operations' records over CIM, as the model has them.

/// "20260314" and "2026-03-14" -> "2026-03-14"; empty for what is not a date.
std::string DateOfBuild(std::string_view text);
/// "20260314080112.000000+060" -> "2026-03-14T08:01:12.000000+01:00"; empty for what is not a time.
std::string DateTimeOfCim(std::string_view text);

/// "Degraded/Warning" -> "warning"; "unknown" for words that grade nothing.
std::string SeverityOfCim(std::string_view word);
/// "Healthy" -> "ok", "Critical Failure" -> "critical"; empty for others.
std::string HealthOfCim(std::string_view word);

/// Kind and UCUM unit of a sensor by its base unit as a word.
struct CimUnit {
  std::string kind;
  std::string unit;
};
CimUnit UnitOfCim(std::string_view baseUnits);

/// Kind of a component by its name: "power supply 1" -> "power_supply".
std::string KindOfComponent(std::string_view name);

}  // namespace Kelvar::Reader
