#pragma once

#include <string>

#include "tools/kelvar/Options.h"
#include "tools/kelvar/fleet/Accounts.h"
#include "tools/kelvar/fleet/ReportWriter.h"
#include "tools/kelvar/fleet/TargetList.h"
#include "tools/kelvar/fleet/TimedReading.h"

namespace Kelvar::Tool {

/// What all readings of a fleet use.
struct FleetParts {
  ReportWriter& writer;
  Accounts& accounts;
  const Options& options;
};

/// The reading of one target of many.
class FleetReading : public TimedReading {
 public:
  /// `parts` outlive the object, and `target` is one that can be read.
  FleetReading(FleetParts& parts, std::size_t position, ListedTarget target);

  void Run() override;

 private:
  void End(const Report& report) override;

  FleetParts& parts_;
  const std::size_t position_;
  const ListedTarget target_;
  const std::string account_;
};

/// The report of a target that was not tried.
Report NotTried(const ListedTarget& target, ExitCode code, const std::string& why);

}  // namespace Kelvar::Tool
