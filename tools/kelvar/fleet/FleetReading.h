#pragma once

#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "tools/kelvar/Options.h"
#include "tools/kelvar/fleet/Accounts.h"
#include "tools/kelvar/fleet/ReportWriter.h"
#include "tools/kelvar/fleet/TargetList.h"
#include "tools/kelvar/fleet/TimedReading.h"
#include "tools/kelvar/pool/WorkerPool.h"

namespace Kelvar::Tool {

/// The readings under way, which a signal ends early. Any thread.
class RunningReadings {
 public:
  /// False once all were told to end: nothing is to begin any more.
  bool Add(TimedReading& reading);
  void Remove(TimedReading& reading);

  void EndAll();
  bool Ending() const;
  bool None() const;

 private:
  mutable std::mutex mutex_;
  std::set<TimedReading*> readings_;
  bool ending_ = false;
};

/// What all readings of a fleet use.
struct FleetParts {
  ReportWriter& writer;
  Accounts& accounts;
  const Options& options;
  RunningReadings running = {};
};

/// The reading of one target of many.
class FleetReading : public TimedReading {
 public:
  /// `parts` outlive the object, and `target` is one that can be read.
  FleetReading(FleetParts& parts, std::size_t position, ListedTarget target, Accounts::Places places);

  void Run() override;

 private:
  void End(const Report& report) override;

  FleetParts& parts_;
  const std::size_t position_;
  const ListedTarget target_;
  const Accounts::Places places_;
};

/// Finds the addresses of a target, of which the resolver may take its time to tell, and lets its reading begin when
/// nobody else uses its account.
class FleetEntry : public WorkerPool::Task {
 public:
  /// `parts` and `pool` outlive the object, and `target` is one that can be read.
  FleetEntry(FleetParts& parts, WorkerPool& pool, std::size_t position, ListedTarget target)
      : parts_(parts), pool_(pool), position_(position), target_(std::move(target)) {}

  void Run() override;
  void Done() override;
  void OnDeadline() override;

 private:
  FleetParts& parts_;
  WorkerPool& pool_;
  const std::size_t position_;
  const ListedTarget target_;
  Accounts::Places places_;
};

/// The report of a target that was not tried.
Report NotTried(const ListedTarget& target, ExitCode code, const std::string& why);

}  // namespace Kelvar::Tool
