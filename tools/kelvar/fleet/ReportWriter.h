#pragma once

#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tools/kelvar/Output.h"
#include "tools/kelvar/Printer.h"
#include "tools/kelvar/Report.h"
#include "tools/kelvar/fleet/FleetOptions.h"
#include "tools/kelvar/fleet/SavedRun.h"

namespace Kelvar::Tool {

/// How reports become a text: a head, a piece for each, and a foot.
struct Rendering {
  std::string head;
  std::string separator;
  std::string foot;
  std::function<std::string(const Report& report)> textOf;  ///< any thread; an empty text stands for none
  std::string eraser = {};                                  ///< in front of each piece, where a progress line is shown
  std::function<std::string()> summary{};                   ///< behind the last piece, where there is one
};

/// Of the formats of single reports, each of many.
Rendering RenderingOf(const std::string& format, Colour colour);

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
  ReportWriter(Output& output, Rendering rendering, const FleetOptions& options);

  /// The report of the target at a position, counted from 0.
  void Write(std::size_t position, const Report& report);

  /// True when standard output or the file can no longer be written.
  bool Failed() const;
  Counts Counted() const;

  /// Writes the foot, behind `last` if that is not empty, and closes the file. Throws ToolError (internal) when
  /// anything could not be written.
  void Finish(const std::string& last);

 private:
  void Print(const std::string& text);
  void Save(const std::string& line);

  Output& output_;
  const Rendering rendering_;
  const bool ordered_;
  std::optional<SavedRun> saved_;

  mutable std::mutex mutex_;
  std::map<std::size_t, std::string> early_;  ///< texts that wait for those before them
  std::size_t next_ = 0;
  bool any_ = false;
  Counts counts_;
  std::exception_ptr failure_;
};

}  // namespace Kelvar::Tool
