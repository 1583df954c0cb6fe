#pragma once

#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tools/kelvar/Formats.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/Report.h"
#include "tools/kelvar/fleet/FleetOptions.h"
#include "tools/kelvar/fleet/SavedRun.h"

namespace Kelvar::Tool {

/// Counts of the reports by their code.
struct Counts {
  std::map<ExitCode, std::size_t> byCode;
  std::size_t answered = 0;

  std::size_t Failed() const;
};

/// Writes the reports of many targets, each as soon as it is there or, in order, as soon as those before it are. Any
/// thread; nothing throws but Finish().
class ReportWriter {
 public:
  /// Where the options name a file for it, that also gets each report, as a JSON line, when it is there. Throws
  /// ToolError (usage) when it cannot be opened.
  ReportWriter(Output& output, Formatter formatter, const FleetOptions& options);

  /// The report of the target at a position, counted from 0.
  void Write(std::size_t position, const Report& report);

  /// True when standard output or the file can no longer be written.
  bool Failed() const;
  Counts Counted() const;

  /// Writes the foot, after `last` if that is not empty, and closes the file; later reports are dropped. Throws
  /// ToolError (internal) when anything could not be written.
  void Finish(const std::string& last);

 private:
  void Print(const std::string& text);
  void Save(const std::string& line);

  Output& output_;
  const Formatter formatter_;
  const bool ordered_;
  std::optional<SavedRun> saved_;

  mutable std::mutex mutex_;
  std::map<std::size_t, std::string> early_;  ///< texts that wait for those before them
  std::size_t next_ = 0;
  bool any_ = false;
  bool finished_ = false;
  Counts counts_;
  std::exception_ptr failure_;
};

}  // namespace Kelvar::Tool
