#pragma once

#include <functional>
#include <vector>

#include "tools/kelvar/Options.h"
#include "tools/kelvar/fleet/FleetOptions.h"
#include "tools/kelvar/fleet/ReportWriter.h"
#include "tools/kelvar/fleet/TargetList.h"

namespace Kelvar::Tool {

/// Reads many targets and prints a report for each; returns the exit code. Does not return when threads hang in the
/// library at the end: the process ends with the same code. Throws ToolError.
int ReadFleet(const Options& options, const FleetOptions& fleetOptions);

/// Reads the targets of a list into `writer`; `end` is called before a signal ends the program. False when threads are
/// left that hang: the process has to end by _exit then.
bool ReadTargets(const Options& options, const FleetOptions& fleetOptions, ReportWriter& writer,
                 std::vector<ListedTarget> list, std::function<void()> end);

}  // namespace Kelvar::Tool
