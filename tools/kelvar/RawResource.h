#pragma once

namespace Kelvar::Tool {

/// kelvar raw: prints one Redfish resource as JSON. Throws ToolError.
int RawMain(int argc, const char* const* argv);

}  // namespace Kelvar::Tool
