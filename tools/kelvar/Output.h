#pragma once

#include <chrono>
#include <cstdio>
#include <string_view>

namespace Kelvar::Tool {

/// The program's standard output, kept for its own text: what anything else in the process writes to standard output
/// goes nowhere from here on. One object, made before the library is used.
class Output {
 public:
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void Write(std::string_view text);

  /// Throws ToolError (internal) when anything could not be written.
  void Finish();

  /// Whether nobody can read any more what is written, as where a pipe was closed; waits so long for that.
  bool LostReader(std::chrono::milliseconds timeLimit) const;

 private:
  std::FILE* file_;
};

/// "kelvar: TEXT" on standard error, control characters escaped. Any thread.
void PrintError(std::string_view text);

/// A text on standard error, unchanged and at once. Failures are ignored: there is nowhere to report them.
void WriteToStandardError(std::string_view text);

}  // namespace Kelvar::Tool
