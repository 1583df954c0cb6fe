#pragma once

namespace Kelvar::Tool {

/// kelvar health: one verdict a machine; the exit code tells the worst. Throws ToolError.
int HealthMain(int argc, const char* const* argv);

}  // namespace Kelvar::Tool
