// measure_process ROUNDS COMMAND... [-- COMMAND...]...: runs the commands in turns and prints, for each, its median
// wall and CPU seconds and its highest peak in MiB. Small itself, for a child's peak starts from its parent's.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Command {
  std::vector<char*> words;
  std::vector<double> wall;
  std::vector<double> cpu;
  double peakMiB = 0;
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

bool RunOnce(Command& command, posix_spawn_file_actions_t* silence) {
  const auto start = std::chrono::steady_clock::now();
  pid_t child = 0;
  int status = 0;
  rusage usage{};
  if (posix_spawnp(&child, command.words[0], silence, nullptr, command.words.data(), environ) != 0 ||
      wait4(child, &status, 0, &usage) != child) {
    return false;
  }
  command.wall.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  command.cpu.push_back(Seconds(usage.ru_utime) + Seconds(usage.ru_stime));
  command.peakMiB = std::max(command.peakMiB, static_cast<double>(usage.ru_maxrss) / 1024);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

std::vector<Command> Parse(int argc, char** argv) {
  std::vector<Command> commands(1);
  for (int index = 2; index < argc; ++index) {
    if (std::strcmp(argv[index], "--") == 0) {
      commands.emplace_back();
    } else {
      commands.back().words.push_back(argv[index]);
    }
  }
  for (Command& command : commands) {
    command.words.push_back(nullptr);
  }
  return commands;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 2 ? std::atoi(argv[1]) : 0;
  if (rounds < 1) {
    std::fprintf(stderr, "usage: measure_process ROUNDS COMMAND... [-- COMMAND...]...\n");
    return 2;
  }
  std::vector<Command> commands = Parse(argc, argv);
  posix_spawn_file_actions_t silence;
  posix_spawn_file_actions_init(&silence);
  posix_spawn_file_actions_addopen(&silence, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&silence, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&silence, 2, "/dev/null", O_WRONLY, 0);
  for (int round = 0; round < rounds; ++round) {
    for (Command& command : commands) {
      if (!RunOnce(command, &silence)) {
        std::fprintf(stderr, "measure_process: %s failed\n", command.words[0]);
        return 1;
      }
    }
  }
  posix_spawn_file_actions_destroy(&silence);
  for (const Command& command : commands) {
    std::printf("%.6f %.6f %.2f\n", Median(command.wall), Median(command.cpu), command.peakMiB);
  }
  return 0;
}
