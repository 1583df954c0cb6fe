#pragma once

namespace Kelvar::Tool::Serve {

/// "kelvar serve", whose first argument is that word. Serves until SIGTERM or SIGINT. The exit code; throws ToolError.
int Main(int argc, const char* const* argv);

}  // namespace Kelvar::Tool::Serve
