#pragma once

#include <string>
#include <vector>

namespace Kelvar::Bench {

/// What one run of a program took. CPU and memory are that program's alone.
struct RunCost {
  int exitCode = -1;
  double seconds = 0;
  double cpuSeconds = 0;
  double peakKiB = 0;
};

/// Runs a program with its standard output in a file, and waits for its end. Throws std::runtime_error.
RunCost Run(const std::vector<std::string>& words, const std::string& outputFile);

/// CPU seconds of this process so far.
double OwnCpuSeconds();

}  // namespace Kelvar::Bench
