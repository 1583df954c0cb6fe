#pragma once

#include <string>

namespace Kelvar::Tool {

// Each throws ToolError (usage) when there is no password to be had; none shows it.

/// The first line of a file.
std::string PasswordFromFile(const std::string& file);

/// The first line that a command prints on standard output, run by the shell. Its standard error is the program's own.
std::string PasswordFromCommand(const std::string& command);

/// Typed at the terminal without echo.
std::string PasswordFromTerminal(const std::string& target);

}  // namespace Kelvar::Tool
