#pragma once

#include "tools/kelvar/Options.h"
#include "tools/kelvar/fleet/FleetOptions.h"

namespace Kelvar::Tool {

/// Reads many targets and prints a report for each; returns the exit code. Does not return when threads hang in the
/// library at the end: the process ends with the same code. Throws ToolError.
int ReadFleet(const Options& options, const FleetOptions& fleetOptions);

}  // namespace Kelvar::Tool
