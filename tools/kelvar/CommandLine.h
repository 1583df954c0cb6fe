#pragma once

#include <optional>
#include <string>

#include "tools/kelvar/ConfigFile.h"

namespace CLI {
class App;
}

namespace Kelvar::Tool {

/// Option --config.
void DeclareConfig(CLI::App& app, std::string& file);

/// Options --password-file and --password-command, which exclude each other.
void DeclarePassword(CLI::App& app, PasswordSource& password);

/// Reads a command line into what was declared. The exit code when that is all there is to do: help or the version was
/// asked for and is printed, or the line is wrong and standard error says why. Throws ToolError (internal) when help
/// cannot be written.
std::optional<int> Parse(CLI::App& app, int argc, const char* const* argv);

/// The configuration of --config, or the default one where that is not given, or none. Throws as ReadConfig().
Config ConfigNamed(const std::string& file);

}  // namespace Kelvar::Tool
