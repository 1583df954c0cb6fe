#include "flow/tool_serve/ServeRun.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/TestPlaces.h"

namespace Kelvar::Test {

ServeRun::ServeRun(const std::string& config) {
  const std::string file = folder_.Write("config.toml", config);
  int output[2];
  if (pipe2(output, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe failed");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  std::array<std::string, 8> words{"timeout", "--foreground",         "60",       kToolProgram,
                                   "serve",   "--listen=127.0.0.1:0", "--config", file};
  std::array<char*, words.size() + 1> pointers{};
  for (std::size_t i = 0; i < words.size(); ++i) {
    pointers[i] = words[i].data();
  }
  const int failure = posix_spawnp(&process_, words[0].c_str(), &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  std::string line;
  for (char character = 0; failure == 0 && read(output[0], &character, 1) == 1 && character != '\n';) {
    line += character;
  }
  close(output[0]);
  const std::string front = "{\"url\":\"";
  if (line.compare(0, front.size(), front) != 0) {
    throw std::runtime_error("kelvar serve did not start");
  }
  url_ = line.substr(front.size(), line.rfind("/\"}") - front.size());
}

ServeRun::~ServeRun() {
  Stop();
}

std::string ServeRun::Get(const std::string& path, const std::vector<std::string>& options) const {
  std::vector<std::string> words{"curl", "-sS", "-i", "--max-time", "30", Url(path)};
  words.insert(words.end(), options.begin(), options.end());
  const CommandResult result = RunCommand(words);
  return result.output + result.errors;
}

std::string ServeRun::OwnMetric(const std::string& series) const {
  const std::string page = Get("/metrics");
  const std::size_t at = page.find('\n' + series + ' ');
  const std::size_t value = at + series.size() + 2;
  return at == std::string::npos ? "" : page.substr(value, page.find('\n', value) - value);
}

std::size_t ServeRun::PeakMiB() const {
  const std::string parent = std::to_string(process_);  // timeout
  std::ifstream children("/proc/" + parent + "/task/" + parent + "/children");
  std::string child;
  children >> child;
  std::ifstream status("/proc/" + child + "/status");
  constexpr std::size_t kKiBPerMiB = 1024;
  const std::string key = "VmHWM:";
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, key.size(), key) == 0) {
      return std::stoul(line.substr(key.size())) / kKiBPerMiB;
    }
  }
  throw std::runtime_error("no memory of kelvar serve");
}

void ServeRun::Signal(int number) const {
  kill(process_, number);
}

int ServeRun::Stop() {
  int status = 0;
  if (process_ > 0) {
    kill(process_, SIGTERM);
    waitpid(process_, &status, 0);
    process_ = -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string ProbePath(const std::string& target, const std::string& module) {
  std::string path = "/probe?target=";
  for (const char character : target) {
    path += character == '+' ? "%2B" : std::string(1, character);
  }
  return module.empty() ? path : path + "&module=" + module;
}

}  // namespace Kelvar::Test
