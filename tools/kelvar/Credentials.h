#pragma once

#include <map>
#include <optional>
#include <string>

#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// Gives targets their account. A password comes, in this order, from the command line's file or command, from the
/// environment variable KELVAR_PASSWORD, from the first fitting account of the configuration, or is typed at the
/// terminal. Each source is asked once in the object's life. One thread at a time.
class Credentials {
 public:
  /// `fromCommandLine` may be empty.
  Credentials(PasswordSource fromCommandLine, Config config);

  /// Knows the accounts of the configuration alone: no environment, no prompt.
  explicit Credentials(Config config);

  /// Sets the user name, where the target's address has none, and the password. A password source of the target's own
  /// comes before all others. Throws ToolError (usage) when there is no user or no password, or an empty one.
  void Fill(Target& target, const PasswordSource& own = {});

 private:
  /// What an IPMI session needs beside the password.
  void FillSession(Target& target, const Config::Account* account);
  const std::string& PasswordOf(const PasswordSource& source);
  std::string Typed(const std::string& address);

  PasswordSource fromCommandLine_;
  Config config_;
  bool configOnly_ = false;
  std::map<std::string, std::string> known_;  ///< by file or command
  std::optional<std::string> typed_;
};

}  // namespace Kelvar::Tool
