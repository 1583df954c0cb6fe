#include "tools/kelvar/fleet/ProgressLine.h"

#include <algorithm>

#include <fmt/format.h>
#include <unistd.h>

#include "tools/kelvar/Output.h"

namespace Kelvar::Tool {

ProgressLine::ProgressLine(std::size_t total, bool wanted)
    : total_(total), shown_(wanted && isatty(STDERR_FILENO) == 1) {}

void ProgressLine::Show(const Counts& counts) {
  constexpr std::chrono::milliseconds pause{100};
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || now - last_ < pause) {
    return;
  }
  last_ = now;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double rate = static_cast<double>(counts.answered) / std::max(seconds, 0.001);
  WriteToStandardError(
      fmt::format("\r{} of {} done, {} failed, {:.1f} a second\x1b[K", counts.answered, total_, counts.Failed(), rate));
}

void ProgressLine::Clear() {
  if (shown_) {
    WriteToStandardError(eraser);
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
