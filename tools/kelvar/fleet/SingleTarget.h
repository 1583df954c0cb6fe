#pragma once

#include "tools/kelvar/Options.h"

namespace Kelvar::Tool {

/// Reads the one target of a command line and prints its report. Returns the exit code; does not return where a reading
/// hangs beyond its deadline. Throws ToolError.
int ReadSingleTarget(const Options& options);

}  // namespace Kelvar::Tool
