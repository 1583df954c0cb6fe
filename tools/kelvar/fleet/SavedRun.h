#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace Kelvar::Tool {

/// The file that keeps the reports of a run. Each line is handed to the system whole and at once, so that the end of
/// the program, a full disk included, loses at most the line being written. A crash of the machine loses at most the
/// lines of one second: that often, and by Close(), they are written through to the disk. One thread at a time.
class SavedRun {
 public:
  /// Creates the file for its owner alone; the mode of one that exists stays. `append` goes on after its last line,
  /// also where that is cut. Throws ToolError (usage) when it cannot be opened.
  SavedRun(std::string file, bool append);
  ~SavedRun();
  SavedRun(const SavedRun&) = delete;
  SavedRun& operator=(const SavedRun&) = delete;

  /// A report, which ends with a line feed. Throws ToolError (internal) when it cannot be written.
  void Write(std::string_view line);

  /// Throws ToolError (internal) when the file system tells only now that something was not written.
  void Close();

 private:
  void WriteAll(std::string_view text);
  void Sync();
  [[noreturn]] void Fail() const;

  const std::string file_;
  int descriptor_;
  std::size_t lines_ = 0;
  std::chrono::steady_clock::time_point synced_ = std::chrono::steady_clock::now();
};

}  // namespace Kelvar::Tool
