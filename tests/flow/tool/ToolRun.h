#pragma once

#include <string>
#include <vector>

#include "support/Command.h"

namespace Kelvar::Test {

/// Runs the built tool without a terminal, with the password of the simulated machines in its environment.
CommandResult RunTool(const std::vector<std::string>& arguments,
                      const std::vector<std::string>& environment = {"KELVAR_PASSWORD=kelvar-demo"});

/// The same for the library's fixed operations: "kelvar operation ...".
CommandResult RunOperation(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment = {"KELVAR_PASSWORD=kelvar-demo"});

}  // namespace Kelvar::Test
