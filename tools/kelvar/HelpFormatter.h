#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace Kelvar::Tool {

/// Puts the options of a command into groups, the same ones for every command. A command with few options has one
/// group.
void GroupOptions(CLI::App& app);

/// Help of at most 80 columns.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_group(std::string title, bool positional, std::vector<const CLI::Option*> options) const override;
  std::string make_option(const CLI::Option* option, bool positional) const override;
  std::string make_option_name(const CLI::Option* option, bool positional) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace Kelvar::Tool
