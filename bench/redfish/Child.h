#pragma once

#include <functional>
#include <string>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Bench {

/// Where the server of all jobs has its log.
constexpr const char* kEntries = "/redfish/v1/Systems/1/LogServices/StandardLog/Entries";

/// One measured job, run in a process of its own so that its memory and CPU time are its own.
struct Measured {
  double seconds = 0;     ///< fastest round
  double cpuSeconds = 0;  ///< per round, over all rounds
  double startMiB = 0;    ///< resident before the first round
  double peakMiB = 0;

  /// Keeps the better times and the higher peak of two runs.
  void Improve(const Measured& again);
};

/// Starts this program again for the job `name` with the port of the server.
Measured RunChild(const std::string& name, u16 port, int rounds);

/// The other side of RunChild: runs the job and prints what it took. Returns the exit status.
int BeChild(const std::vector<std::string>& arguments);

}  // namespace Kelvar::Bench
