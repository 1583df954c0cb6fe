#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "tools/kelvar/fleet/ReportWriter.h"

namespace Kelvar::Tool {

/// How far a fleet is after a time, in at most `columns` of ASCII. The numbers of targets come first; the failed ones,
/// the time left and a bar follow as far as there is room.
std::string ProgressText(const Counts& counts, std::size_t total, double seconds, std::size_t columns);

/// Columns that a line on standard error can have without being wrapped; those of a usual terminal when it is none.
std::size_t ColumnsOfStandardError();

/// One line on standard error that tells how far a fleet is; only on a terminal.
class ProgressLine {
 public:
  static constexpr const char* kEraser = "\r\x1b[K";

  ProgressLine(std::size_t total, bool wanted);

  /// A few times a second at most.
  void Show(const Counts& counts);
  /// Removes it.
  void Clear();

 private:
  const std::size_t total_;
  const bool shown_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point last_{};
};

/// What a fleet came to, in one line for people.
std::string SummaryOf(const Counts& counts, double seconds);

}  // namespace Kelvar::Tool
