#pragma once

#include <chrono>
#include <cstddef>

#include "tools/kelvar/fleet/ReportWriter.h"

namespace Kelvar::Tool {

/// One line on standard error that tells how far a fleet is; only on a terminal.
class ProgressLine {
 public:
  static constexpr const char* eraser = "\r\x1b[K";

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
