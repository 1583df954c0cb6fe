#pragma once

#include <string>

#include "tools/kelvar/Printer.h"
#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Tool {

/// What the end of `kelvar health` tells a script.
enum class HealthCode : int { Ok = 0, Warning = 30, Critical = 31, Unknown = 32 };

/// The worse of two: critical, warning, unknown, ok.
HealthCode WorseOf(HealthCode left, HealthCode right);
HealthCode HealthCodeOf(const Model::Verdict& verdict);

/// A line with the machine and its verdict, then a line for each reason, the worst first, or several
/// where that is wider than `width`; 0: no bound.
std::string HealthText(const InventoryReport& report, Colour colour, std::size_t width);

/// One line in the format of monitoring plug-ins, with performance data of the sensors that have a reading.
std::string PluginText(const InventoryReport& report);

/// The same when nothing could be asked.
std::string PluginErrorText(const std::string& error);

/// The exit code of monitoring plug-ins: 0 ok, 1 warning, 2 critical, 3 unknown.
int PluginCodeOf(HealthCode code);

}  // namespace Kelvar::Tool
