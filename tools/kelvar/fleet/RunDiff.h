#pragma once

namespace Kelvar::Tool {

/// "kelvar diff A B": what differs between two runs, each a file of saved reports or a target that is read now.
int DiffMain(int argc, const char* const* argv);

}  // namespace Kelvar::Tool
