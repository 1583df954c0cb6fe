#pragma once

namespace Kelvar::Tool {

/// The command line `kelvar probe HOST`: tries every protocol and tells which answer and why the others do not. The
/// arguments are those after "kelvar". With an account it logs in over one protocol after the other, and no more once
/// the account was refused. Returns the exit code: complete when any protocol answers, else what the most telling of
/// them failed for.
int ProbeHost(int argc, const char* const* argv);

}  // namespace Kelvar::Tool
