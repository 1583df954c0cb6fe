#include "common/deadline/OperationDeadline.h"

#include <algorithm>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"

namespace Kelvar {

namespace {

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
