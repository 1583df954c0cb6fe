#include "support/Command.h"

#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvar::Test {

namespace {

std::vector<char*> Pointers(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

/// Both streams at once, so that neither pipe fills up.
void ReadBoth(int output, int errors, CommandResult& result) {
  pollfd watched[] = {{output, POLLIN, 0}, {errors, POLLIN, 0}};
  std::string* const texts[] = {&result.output, &result.errors};
  while (watched[0].fd >= 0 || watched[1].fd >= 0) {
    poll(watched, 2, -1);
    for (int i = 0; i < 2; ++i) {
      char piece[4096];
      const ssize_t length = watched[i].revents == 0 ? -1 : read(watched[i].fd, piece, sizeof piece);
      if (length > 0) {
        texts[i]->append(piece, static_cast<std::size_t>(length));
      } else if (watched[i].revents != 0) {
        watched[i].fd = -1;
      }
      watched[i].revents = 0;
    }
  }
}

}  // namespace

CommandResult RunCommand(const std::vector<std::string>& words, const std::vector<std::string>& environment) {
  std::vector<std::string> arguments = words;
  std::vector<std::string> variables = {"XDG_CACHE_HOME=/dev/null"};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    variables.emplace_back(*variable);
  }
  variables.insert(variables.begin(), environment.begin(), environment.end());
  int output[2];
  int errors[2];
  if (pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe failed");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors[1], STDERR_FILENO);
  pid_t process = -1;
  const int failure = posix_spawnp(&process, arguments[0].c_str(), &actions, nullptr, Pointers(arguments).data(),
                                   Pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  close(output[1]);
  close(errors[1]);
  CommandResult result;
  if (failure == 0) {
    ReadBoth(output[0], errors[0], result);
  }
  close(output[0]);
  close(errors[0]);
  if (failure != 0) {
    throw std::runtime_error("cannot run " + words[0]);
  }
  int status = 0;
  waitpid(process, &status, 0);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace Kelvar::Test
