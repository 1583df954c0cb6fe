#include "simulator/ipmi/ChildProcess.h"

#include <csignal>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvar::Simulator {

namespace {

/// Between fork and exec: calls that are safe after a fork of a program with threads, and no other.
[[noreturn]] void Become(char* const* arguments, const char* output, int inherited, pid_t parent) {
  constexpr int kCannotRun = 127;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) {
    _exit(kCannotRun);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const int input = open("/dev/null", O_RDONLY);
  const int log = open(output, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(input, STDIN_FILENO);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  fcntl(inherited, F_SETFD, 0);
  execvp(arguments[0], arguments);
  constexpr char kComplaint[] = "it cannot be run; is it installed and in PATH?";
  (void)!write(STDERR_FILENO, kComplaint, sizeof kComplaint - 1);
  _exit(kCannotRun);
}

}  // namespace

void ChildProcess::Start(const std::vector<std::string>& command, const std::filesystem::path& output, int inherited) {
  Stop();
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) {
    Become(arguments.data(), output.c_str(), inherited, parent);
  }
  if (process_ < 0) {
    throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
  }
}

void ChildProcess::Stop() noexcept {
  if (process_ <= 0) {
    return;
  }
  kill(process_, SIGKILL);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
  process_ = -1;
}

}  // namespace Kelvar::Simulator
