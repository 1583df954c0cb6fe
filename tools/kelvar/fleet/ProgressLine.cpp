#include "tools/kelvar/fleet/ProgressLine.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tools/kelvar/Output.h"

namespace Kelvar::Tool {

namespace {

/// ", 1:05 left", or nothing when nobody knows.
std::string TimeLeft(std::size_t answered, std::size_t total, double seconds) {
  constexpr double kLongest = 100.0 * 3600;
  constexpr long kSixty = 60;
  if (answered == 0 || answered >= total) {
    return "";
  }
  const double left = seconds / static_cast<double>(answered) * static_cast<double>(total - answered);
  if (left >= kLongest) {
    return "";
  }
  const long whole = std::lround(left);
  const long minutes = whole / kSixty;
  return minutes < kSixty ? fmt::format(", {}:{:02} left", minutes, whole % kSixty)
                          : fmt::format(", {}:{:02}:{:02} left", minutes / kSixty, minutes % kSixty, whole % kSixty);
}

/// "[###...] " of this many columns; nothing when these are too few.
std::string Bar(std::size_t answered, std::size_t total, std::size_t columns) {
  constexpr std::size_t kLeast = 10;
  constexpr std::size_t kMost = 43;
  constexpr std::size_t kFrame = 3;
  if (columns < kLeast || total == 0) {
    return "";
  }
  const std::size_t cells = std::min(columns, kMost) - kFrame;
  const std::size_t full = cells * std::min(answered, total) / total;
  return '[' + std::string(full, '#') + std::string(cells - full, '.') + "] ";
}

}  // namespace

std::string ProgressText(const Counts& counts, std::size_t total, double seconds, std::size_t columns) {
  std::string text = fmt::format("{} of {} done", counts.answered, total);
  const std::string failed = fmt::format(", {} failed", counts.Failed());
  for (const std::string& part : {counts.Failed() == 0 ? "" : failed, TimeLeft(counts.answered, total, seconds)}) {
    text += text.size() + part.size() <= columns ? part : "";
  }
  text.resize(std::min(text.size(), columns));
  return Bar(counts.answered, total, columns - text.size()) + text;
}

std::size_t ColumnsOfStandardError() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (known ? size.ws_col : kUsual) - 1;  // a terminal may wrap a line that fills its last column
}

ProgressLine::ProgressLine(std::size_t total, bool wanted)
    : total_(total), shown_(wanted && isatty(STDERR_FILENO) == 1) {}

void ProgressLine::Show(const Counts& counts) {
  constexpr std::chrono::milliseconds kPause{100};
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || now - last_ < kPause) {
    return;
  }
  last_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  WriteToStandardError('\r' + ProgressText(counts, total_, seconds, ColumnsOfStandardError()) + "\x1b[K");
}

void ProgressLine::Clear() {
  if (shown_) {
    WriteToStandardError(kEraser);
  }
}

std::string SummaryOf(const Counts& counts, double seconds) {
  std::string codes;
  for (const auto& [code, count] : counts.byCode) {
    codes += fmt::format("{}{} {}", codes.empty() ? "" : ", ", count, NameOf(code));
  }
  return fmt::format("{} {} in {:.1f} s{}{}", counts.answered, counts.answered == 1 ? "target" : "targets", seconds,
                     codes.empty() ? "" : ": ", codes);
}

}  // namespace Kelvar::Tool
