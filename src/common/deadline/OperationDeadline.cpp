#include "common/deadline/OperationDeadline.h"

#include <algorithm>
#include <utility>

#include <kelvar/ConnectionOptions.h>

#include "common/diagnostics/DiagnosticsRecorder.h"

namespace Kelvar {

namespace {

constexpr std::chrono::milliseconds kSlack{2};

thread_local OperationDeadline* innermost = nullptr;

}  // namespace

OperationDeadline::OperationDeadline(u32 seconds) noexcept : seconds_(seconds), outer_(innermost) {
  innermost = this;
}

OperationDeadline::~OperationDeadline() {
  innermost = outer_;
}

OperationDeadline::Clock::time_point OperationDeadline::End(Clock::time_point now) noexcept {
  return innermost != nullptr ? innermost->EndOfAll(now) : Clock::time_point::max();
}

OperationDeadline::Clock::time_point OperationDeadline::EndOfAll(Clock::time_point now) noexcept {
  if (!started_) {
    started_ = true;
    end_ = seconds_ != 0 ? now + std::chrono::seconds(seconds_) : Clock::time_point::max();
    end_ = outer_ != nullptr ? std::min(end_, outer_->EndOfAll(now)) : end_;
  }
  return end_;
}

bool OperationDeadline::IsOver() noexcept {
  const Clock::time_point now = Clock::now();
  const bool isOver = now >= End(now);
  if (isOver) {
    NoteReached();
  }
  return isOver;
}

std::chrono::milliseconds OperationDeadline::Within(std::chrono::milliseconds own) noexcept {
  const Clock::time_point now = Clock::now();
  std::chrono::milliseconds within = own;
  End(now);  // starts those that have not begun
  for (const OperationDeadline* one = innermost; one != nullptr; one = one->outer_) {
    if (one->seconds_ != 0 && one->seconds_ < ConnectionOptions::kDefaultOperationLimitSeconds) {
      // A little more than is left, so that a request that was cut ends after the bound and not just before it.
      within = std::min(within, std::chrono::ceil<std::chrono::milliseconds>(one->end_ - now) + kSlack);
    }
  }
  return std::max(within, std::chrono::milliseconds(1));
}

void OperationDeadline::NoteReached() noexcept {
  OperationDeadline* outermost = innermost;
  while (outermost != nullptr && outermost->outer_ != nullptr) {
    outermost = outermost->outer_;
  }
  if (outermost == nullptr || std::exchange(outermost->told_, true)) {
    return;
  }
  DiagnosticsRecorder::AddGap(GapKind::Truncated, FailureCause::Deadline, "operation",
                              "the time for the operation was over before everything was read");
}

}  // namespace Kelvar
