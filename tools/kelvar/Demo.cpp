#include "tools/kelvar/Demo.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include <rapidjson/document.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

namespace {

constexpr const char* kPrefix = "demo:";
constexpr const char* kProgram = "kelvar-bmcsim";

// The account of the machines that come with the simulator.
constexpr const char* kUser = "admin";
constexpr const char* kPassword = "kelvar-demo";

struct Wanted {
  std::string protocol = "redfish";  ///< as the simulator names it
  std::string machine = "full";
};

Wanted Parse(const std::string& address) {
  Wanted wanted;
  std::string rest = address.substr(std::strlen(kPrefix));
  constexpr const char* kSetting = "?machine=";
  const std::size_t question = rest.find('?');
  if (question != std::string::npos) {
    if (rest.compare(question, std::strlen(kSetting), kSetting) != 0) {
      throw ToolError(ExitCode::Usage, "target \"" + address + "\": unknown parameter; a demo takes ?machine=NAME");
    }
    wanted.machine = rest.substr(question + std::strlen(kSetting));
    rest.resize(question);
  }
  if (!rest.empty()) {
    wanted.protocol = rest;
  }
  if (wanted.protocol != "redfish" && wanted.protocol != "cim" && wanted.protocol != "ipmi") {
    throw ToolError(ExitCode::Usage,
                    "target \"" + address + "\": unknown protocol; write demo:redfish, demo:cim or demo:ipmi");
  }
  return wanted;
}

/// Beside this program, as installed or as built; else left to the PATH.
std::string Simulator() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  for (const auto& candidate : {folder / kProgram, folder / "../../simulator" / kProgram}) {
    if (!error && access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  return kProgram;
}

struct Pipe {
  std::array<int, 2> ends{-1, -1};  ///< for reading, for writing

  Pipe() {
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw ToolError(ExitCode::Internal, std::string("pipe: ") + std::strerror(errno));
    }
  }
  ~Pipe() {
    for (const int end : ends) {
      if (end >= 0) {
        close(end);
      }
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
};

pid_t Start(const Wanted& wanted, const Pipe& input, const Pipe& output) {
  const std::string path = Simulator();
  std::vector<std::string> words{path, "--until-eof", "--machine", wanted.machine, "--serve", wanted.protocol};
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.ends[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
  pid_t child = -1;
  const int failure = posix_spawnp(&child, path.c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    throw ToolError(ExitCode::Internal, std::string("cannot start ") + kProgram + ": " + std::strerror(failure));
  }
  return child;
}

std::string FirstLine(int descriptor) {
  std::string line;
  char character = 0;
  while (read(descriptor, &character, 1) == 1 && character != '\n') {
    line += character;
  }
  return line;
}

/// The simulator announces its ports as one JSON object when it is ready.
std::optional<u16> PortIn(const std::string& announcement, const std::string& protocol) {
  rapidjson::Document document;
  document.Parse(announcement.c_str());
  if (document.HasParseError() || !document.IsObject()) {
    return std::nullopt;
  }
  const auto port = document.FindMember(protocol.c_str());
  return port != document.MemberEnd() && port->value.IsUint() ? std::optional(static_cast<u16>(port->value.GetUint()))
                                                              : std::nullopt;
}

}  // namespace

DemoMachine::DemoMachine(const std::string& address) {
  const Wanted wanted = Parse(address);
  Pipe input;
  Pipe output;
  child_ = Start(wanted, input, output);
  close(std::exchange(output.ends[1], -1));
  const std::optional<u16> port = PortIn(FirstLine(output.ends[0]), wanted.protocol);
  if (!port) {
    constexpr int kUsage = 2;  // of the simulator, which has told what it does not know
    int status = 0;
    close(std::exchange(input.ends[1], -1));
    if (waitpid(child_, &status, 0) == child_ && WIFEXITED(status) && WEXITSTATUS(status) == kUsage) {
      throw ToolError(ExitCode::Usage, "target \"" + address + "\": no such machine, or not over this protocol");
    }
    throw ToolError(ExitCode::Internal, std::string(kProgram) + " did not start");
  }
  input_ = std::exchange(input.ends[1], -1);
  const std::string scheme = wanted.protocol == "cim" ? "cim+http" : wanted.protocol;
  target_ = ParseTarget(scheme + "://" + kUser + "@127.0.0.1:" + std::to_string(*port));
  target_.address = address;
  target_.info.Password = kPassword;
  target_.thisRunOnly = true;
}

DemoMachine::~DemoMachine() {
  close(input_);
  waitpid(child_, nullptr, 0);
}

bool DemoMachine::Names(const std::string& address) {
  return address.compare(0, std::strlen(kPrefix), kPrefix) == 0;
}

}  // namespace Kelvar::Tool
