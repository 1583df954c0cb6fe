#pragma once

#include <string>
#include <vector>

namespace Kelvar::Test {

struct CommandResult {
  int exitCode = -1;  ///< 128 and the signal's number when a signal ended it
  std::string output;
  std::string errors;
};

/// Runs a program with empty input and waits for its end. `environment` adds "NAME=value"; without one of these it has
/// no cache folder. Throws std::runtime_error when it cannot be run.
CommandResult RunCommand(const std::vector<std::string>& words, const std::vector<std::string>& environment = {});

}  // namespace Kelvar::Test
