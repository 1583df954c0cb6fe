#pragma once

#include "tools/kelvar/Options.h"

namespace Kelvar::Tool {

/// Prints the newest log entries of the one target of a command line, and then new ones as they come, until SIGINT or
/// SIGTERM, which end the program, or until nobody reads the output any more. Each reading closes its session. Returns
/// the exit code. Throws ToolError.
int FollowLogs(const Options& options);

}  // namespace Kelvar::Tool
