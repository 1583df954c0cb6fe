#include "tools/kelvar/CommandLine.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/HelpFormatter.h"
#include "tools/kelvar/Output.h"

namespace Kelvar::Tool {

void DeclareConfig(CLI::App& app, std::string& file) {
  app.add_option("--config", file, "Configuration file, else ~/.config/kelvar/config.toml")->type_name("FILE");
}

void DeclarePassword(CLI::App& app, PasswordSource& password) {
  auto* const file =
      app.add_option("--password-file", password.file, "File whose first line is the password")->type_name("FILE");
  app.add_option("--password-command", password.command, "Shell command that prints the password")
      ->type_name("COMMAND")
      ->excludes(file);
}

std::optional<int> Parse(CLI::App& app, int argc, const char* const* argv) {
  GroupOptions(app);
  app.formatter(std::make_shared<HelpFormatter>());
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      PrintError(std::string(error.what()) + "; see " + app.get_name() + " --help");
      return static_cast<int>(ExitCode::Usage);
    }
    app.exit(error);  // which prints what was asked for
    if (!std::cout.flush()) {
      throw ToolError(ExitCode::Internal, "cannot write to standard output");
    }
    return 0;
  }
  return std::nullopt;
}

Config ConfigNamed(const std::string& file) {
  const std::string used = file.empty() ? DefaultConfigFile() : file;
  return used.empty() ? Config() : ReadConfig(used);
}

}  // namespace Kelvar::Tool
