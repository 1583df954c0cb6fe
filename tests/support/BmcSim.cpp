#include "support/BmcSim.h"

#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <rapidjson/document.h>

#include "support/TestPlaces.h"

namespace Kelvar::Test {

namespace {

constexpr int kStartLimitMs = 20000;

std::string ReadLine(int descriptor) {
  std::string line;
  for (;;) {
    pollfd watched{descriptor, POLLIN, 0};
    char character = 0;
    if (poll(&watched, 1, kStartLimitMs) <= 0 || read(descriptor, &character, 1) != 1) {
      throw std::runtime_error("the simulator did not start");
    }
    if (character == '\n') {
      return line;
    }
    line += character;
  }
}

}  // namespace

BmcSim::BmcSim(const std::string& machine, const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {kSimulatorProgram, "--until-eof", "--machine", machine};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  int toInput[2];
  int fromOutput[2];
  if (pipe2(toInput, O_CLOEXEC) != 0 || pipe2(fromOutput, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe failed");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toInput[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fromOutput[1], STDOUT_FILENO);
  const int failure = posix_spawn(&process_, kSimulatorProgram, &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(toInput[0]);
  close(fromOutput[1]);
  input_ = toInput[1];
  try {
    if (failure != 0) {
      process_ = -1;
      throw std::runtime_error(std::string("cannot run ") + kSimulatorProgram);
    }
    ReadPorts(fromOutput[0]);
  } catch (...) {
    close(fromOutput[0]);
    Stop();
    throw;
  }
  close(fromOutput[0]);
}

void BmcSim::ReadPorts(int output) {
  rapidjson::Document document;
  document.Parse(ReadLine(output).c_str());
  for (const auto& member : document.GetObject()) {
    if (member.value.IsUint()) {
      ports_[member.name.GetString()] = static_cast<u16>(member.value.GetUint());
    }
  }
}

void BmcSim::Stop() {
  if (input_ >= 0) {
    close(input_);
    input_ = -1;
  }
  if (process_ > 0) {
    waitpid(process_, nullptr, 0);
    process_ = -1;
  }
}

}  // namespace Kelvar::Test
