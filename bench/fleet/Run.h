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

/// Runs a program with its standard output in a file, and waits for its end. A process between the two measures it: the
/// peak of a child starts from that of the process that makes it, and this one grows. Throws std::runtime_error.
RunCost Run(const std::vector<std::string>& words, const std::string& outputFile);

/// That process: what main does with the words after kRunWord.
int BeRunner(const std::vector<std::string>& words);
constexpr const char* kRunWord = "--run";

/// CPU seconds of this process so far.
double OwnCpuSeconds();

}  // namespace Kelvar::Bench
