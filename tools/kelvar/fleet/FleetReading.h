#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/fleet/Accounts.h"
#include "tools/kelvar/fleet/ReportWriter.h"
#include "tools/kelvar/fleet/TargetList.h"
#include "tools/kelvar/pool/WorkerPool.h"

namespace Kelvar::Tool {

/// What all readings of a fleet use.
struct FleetParts {
  LogWatch& log;
  ReportWriter& writer;
  Accounts& accounts;
  bool commonEventId;
  double deadlineSeconds;
};

/// The reading of one target of many.
class FleetReading : public WorkerPool::Task {
 public:
  /// `parts` outlive the object, and `target` is one that can be read.
  FleetReading(FleetParts& parts, std::size_t position, ListedTarget target);

  void Run() override;
  void Done() override;
  void OnDeadline() override;

 private:
  bool Take(const Report::Entry& entry);
  void End(const Report& report);

  FleetParts& parts_;
  const std::size_t position_;
  const ListedTarget target_;
  const std::string account_;

  Report report_;  ///< the whole one, of a reading in time

  std::mutex mutex_;
  Report soFar_;
  std::chrono::steady_clock::time_point start_{};
  bool late_ = false;
};

/// The report of a target that was not tried.
Report NotTried(const ListedTarget& target, ExitCode code, const std::string& why);

}  // namespace Kelvar::Tool
