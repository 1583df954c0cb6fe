#pragma once

#include <string>

namespace Kelvar::Tool {

/// The password of a target: the first line of `file` when that is not empty, else KELVAR_PASSWORD of the environment,
/// else typed at the terminal without echo. Throws ToolError (usage) when there is none of the three.
std::string ReadPassword(const std::string& file, const std::string& target);

}  // namespace Kelvar::Tool
