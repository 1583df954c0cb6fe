#include "bench/fleet/Run.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvar::Bench {

namespace {

double CpuSeconds(const rusage& usage) {
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

RunCost Measure(const std::vector<std::string>& words, const std::string& outputFile) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const auto start = std::chrono::steady_clock::now();
  pid_t process = -1;
  const int failure = posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage{};
  if (failure != 0 || wait4(process, &status, 0, &usage) != process) {
    throw std::runtime_error(words.front() + " cannot be run");
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, seconds, CpuSeconds(usage),
          static_cast<double>(usage.ru_maxrss)};
}

}  // namespace

RunCost Run(const std::vector<std::string>& words, const std::string& outputFile) {
  const std::string costFile = outputFile + ".cost";
  std::vector<std::string> runner = {"/proc/self/exe", kRunWord, outputFile};
  runner.insert(runner.end(), words.begin(), words.end());
  RunCost cost;
  if (Measure(runner, costFile).exitCode != 0 ||
      !(std::ifstream(costFile) >> cost.exitCode >> cost.seconds >> cost.cpuSeconds >> cost.peakKiB)) {
    throw std::runtime_error(words.front() + " was not measured");
  }
  return cost;
}

int BeRunner(const std::vector<std::string>& words) {
  const RunCost cost = Measure({words.begin() + 1, words.end()}, words.front());
  std::printf("%d %g %g %g\n", cost.exitCode, cost.seconds, cost.cpuSeconds, cost.peakKiB);
  return 0;
}

double OwnCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return CpuSeconds(usage);
}

}  // namespace Kelvar::Bench
