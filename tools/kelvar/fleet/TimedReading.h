#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "tools/kelvar/Reader.h"
#include "tools/kelvar/pool/WorkerPool.h"

namespace Kelvar::Tool {

/// Whether readings open sessions at a service: fixed operations do over IPMI alone.
inline bool HasSession(bool operations, Protocol protocol) {
  return !operations || protocol == Protocol::Ipmi;
}

/// The reading of one target under a deadline, at which what was read so far is what it came to.
class TimedReading : public WorkerPool::Task {
 public:
  TimedReading(Target target, std::optional<Target> partner, ReadOptions options, double deadlineSeconds);

  void Run() override;
  void Done() final;
  void OnDeadline() final;

  /// Ends the reading early: that of an inventory as InventoryReader::Cancel() does, unless its reader is a kept one;
  /// of fixed operations none is begun any more. Any thread.
  void Stop();

  /// What is being waited for, for people, such as "sensors (3 of 14), 97 s left". Any thread.
  std::string WaitingFor() const;

 protected:
  /// Called once, with the report.
  virtual void End(const Report& report) = 0;

  /// In place of a reading.
  void Decline(Report report) { report_ = std::move(report); }
  const Report& Whole() const { return report_; }

 private:
  using Clock = std::chrono::steady_clock;

  void Begin();
  bool Take(const OperationResult& result);
  void NoteBegin(const Operation& operation, std::size_t position, std::size_t count);

  const Target target_;
  const std::optional<Target> partner_;
  ReadOptions options_;
  const double deadlineSeconds_;

  Report report_;  ///< the whole one, of a reading in time

  mutable std::mutex mutex_;
  Report soFar_;
  std::string current_;
  std::string pause_;  ///< why the library pauses; empty: it does not
  Clock::time_point start_{};
  bool late_ = false;
  std::optional<InventoryReader> reader_;  ///< where none is kept
};

/// One that keeps its report.
class KeptReading : public TimedReading {
 public:
  using TimedReading::TimedReading;

  const Report& Result() const { return result_; }

 private:
  void End(const Report& report) override { result_ = report; }

  Report result_;
};

}  // namespace Kelvar::Tool
