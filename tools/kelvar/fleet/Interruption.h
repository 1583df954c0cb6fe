#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Kelvar::Tool {

/// While it lives, SIGINT and SIGTERM do not end the program but are noted. One object in the process.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Whether a signal has come.
  bool Pending() const;

  /// Ends the program by the signal that has come, as if it had never been held up.
  [[noreturn]] void EndBySignal() const;

  /// Whether five seconds have passed since the first call that found a signal: what was interrupted has a little time
  /// left to close its sessions. Called again and again meanwhile.
  bool Overdue();

 private:
  std::optional<std::chrono::steady_clock::time_point> since_;
};

/// The command that goes on with a run that `words` began, which saves to `saved`; for a shell.
std::string CommandToGoOn(const std::vector<std::string>& words, const std::string& saved);

}  // namespace Kelvar::Tool
