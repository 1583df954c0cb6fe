#pragma once

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// One line of a list of targets.
struct ListedTarget {
  std::string name;                 ///< what reports call it: its address, or "line N" where there is none
  std::optional<Target> target;     ///< none when the line names none
  PasswordSource password;          ///< of this line alone; may be empty
  std::vector<std::string> what;    ///< of this line, else of the command line
  bool hasAccount = false;          ///< user and password are in `target`
  bool operations = false;          ///< `what` names operations, not families
  ExitCode code = ExitCode::Usage;  ///< of a refused line
  std::string error;                ///< why the line is refused, else empty; repeats no address with a password
};

/// Reads a list of targets: a line is an address, or a JSON object with "target" and optionally "what" (a list of
/// words), "user", "password-file" or "password-command". Blank lines and those that begin with # are skipped. A line
/// that is neither is one entry with an error. `what` stands for lines that have none of their own; with
/// `operations` the words are operations and not families.
std::vector<ListedTarget> ReadTargetList(std::istream& lines, const std::vector<std::string>& what,
                                         bool operations = false);

/// The same from a file, or from standard input for "-". Throws ToolError (usage) when it cannot be read.
std::vector<ListedTarget> ReadTargetList(const std::string& file, const std::vector<std::string>& what,
                                         bool operations = false);

}  // namespace Kelvar::Tool
