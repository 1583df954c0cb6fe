#pragma once

#include <string>

namespace CLI {
class App;
}

namespace Kelvar::Tool {

/// The command line of a reading of many targets, beside that of one.
struct FleetOptions {
  std::string targets;       ///< file, or "-"; empty: there is but one target
  bool formatGiven = false;  ///< else the format depends on standard output
  unsigned jobs = 64;
  double deadlineSeconds = 120;
  bool ordered = false;
  std::string shard;
  std::string save;
  std::string resume;
  std::string diff;
  std::string baseline;
};

void DeclareFleet(CLI::App& app, FleetOptions& options);

}  // namespace Kelvar::Tool
