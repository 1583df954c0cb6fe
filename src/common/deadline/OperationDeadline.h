#pragma once

#include <chrono>

#include <kelvar/Types.h>

namespace Kelvar {

/// The bound in time of the operation that the calling thread runs. Scopes nest: an inner one may end earlier than the
/// outer one, never later. Must end on the thread that made it, in reverse order.
class OperationDeadline {
 public:
  using Clock = std::chrono::steady_clock;

  /// 0 seconds: no bound of its own.
  explicit OperationDeadline(u32 seconds) noexcept;
  ~OperationDeadline();
  OperationDeadline(const OperationDeadline&) = delete;
  OperationDeadline& operator=(const OperationDeadline&) = delete;

  /// When the operation has to end; time_point::max() when nothing bounds it. The time runs from the first call on:
  /// `now` is what the caller's clock shows.
  static Clock::time_point End(Clock::time_point now) noexcept;
  /// Whether no further request may begin, by the steady clock. Records it if so.
  static bool IsOver() noexcept;
  /// What a request with a time-out of its own may take from now on, by the steady clock; at least a millisecond. Only
  /// a bound below the default of ConnectionOptions shortens it.
  static std::chrono::milliseconds Within(std::chrono::milliseconds own) noexcept;
  /// Records, once for each operation, that its time was over before everything was read.
  static void NoteReached() noexcept;

 private:
  Clock::time_point EndOfAll(Clock::time_point now) noexcept;

  const u32 seconds_;
  Clock::time_point end_{};
  bool started_ = false;
  bool told_ = false;
  OperationDeadline* const outer_;
};

}  // namespace Kelvar
