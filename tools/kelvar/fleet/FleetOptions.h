#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Kelvar::Tool {

/// The command line of a reading of many targets, beside that of one.
struct FleetOptions {
  std::vector<std::string> words;  ///< of the command line, after the program's name
  std::string targets;             ///< file, or "-"; empty: there is but one target
  bool formatGiven = false;        ///< else the format depends on standard output
  unsigned jobs = 64;
  bool ordered = false;
  std::string shard;
  std::string save;
  bool force = false;  ///< `save` may overwrite a run
  std::string resume;
  std::string diff;
  std::string baseline;
};

void DeclareFleet(CLI::App& app, FleetOptions& options);

}  // namespace Kelvar::Tool
