#include "bench/cim/Measure.h"

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Kelvar::Bench {

namespace {

double StatusBytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(key, 0) == 0) {
      return std::stod(line.substr(key.size() + 1)) * 1024;
    }
  }
  return 0;
}

void RunChild(const std::function<void()>& action, int output) {
  std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from here
  const double before = StatusBytes("VmRSS");
  const double cpuBefore = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
  const auto start = std::chrono::steady_clock::now();
  action();
  Cost cost;
  cost.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  cost.cpuSeconds = static_cast<double>(std::clock()) / CLOCKS_PER_SEC - cpuBefore;
  cost.peakBytes = StatusBytes("VmHWM") - before;
  _exit(write(output, &cost, sizeof cost) == sizeof cost ? 0 : 1);
}

}  // namespace

Cost MeasureOnce(const std::function<void()>& action) {
  malloc_trim(0);  // what this process has freed must not serve the run
  int ends[2];
  if (pipe(ends) != 0) {
    throw std::runtime_error("no pipe");
  }
  const pid_t child = fork();
  if (child == 0) {
    RunChild(action, ends[1]);
  }
  close(ends[1]);
  Cost cost;
  const bool complete = read(ends[0], &cost, sizeof cost) == sizeof cost;
  close(ends[0]);
  waitpid(child, nullptr, 0);
  if (!complete) {
    throw std::runtime_error("a run failed");
  }
  return cost;
}

Cost Measure(const std::function<void()>& action, int runs) {
  std::vector<double> seconds;
  std::vector<double> cpuSeconds;
  Cost cost;
  for (int i = 0; i < runs; ++i) {
    const Cost once = MeasureOnce(action);
    seconds.push_back(once.seconds);
    cpuSeconds.push_back(once.cpuSeconds);
    cost.peakBytes = std::max(cost.peakBytes, once.peakBytes);
  }
  const auto middle = static_cast<std::size_t>(runs / 2);
  std::sort(seconds.begin(), seconds.end());
  std::sort(cpuSeconds.begin(), cpuSeconds.end());
  cost.seconds = seconds[middle];
  cost.cpuSeconds = cpuSeconds[middle];
  return cost;
}

}  // namespace Kelvar::Bench
