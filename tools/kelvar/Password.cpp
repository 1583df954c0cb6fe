#include "tools/kelvar/Password.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

namespace {

/// The controlling terminal with its echo off, for the life of the object.
class SilentTerminal {
 public:
  SilentTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_CLOEXEC)) {
    if (descriptor_ >= 0 && tcgetattr(descriptor_, &former_) == 0) {
      termios silent = former_;
      silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
      tcsetattr(descriptor_, TCSAFLUSH, &silent);
    }
  }
  ~SilentTerminal() {
    if (descriptor_ >= 0) {
      tcsetattr(descriptor_, TCSAFLUSH, &former_);
      Write("\n");
      close(descriptor_);
    }
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool Exists() const { return descriptor_ >= 0; }
  void Write(const std::string& text) const { (void)!write(descriptor_, text.data(), text.size()); }

  std::string ReadLine() const {
    std::string line;
    char character = 0;
    while (read(descriptor_, &character, 1) == 1 && character != '\n') {
      line += character;
    }
    return line;
  }

 private:
  int descriptor_;
  termios former_{};
};

std::string WithoutCarriageReturn(std::string line) {
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  return line;
}

}  // namespace

std::string PasswordFromFile(const std::string& file) {
  std::ifstream input(file);
  std::string line;
  if (!std::getline(input, line)) {
    throw ToolError(ExitCode::Usage,
                    "password file " + file + ": " + (input.is_open() ? "empty" : std::strerror(errno)));
  }
  return WithoutCarriageReturn(line);
}

std::string PasswordFromCommand(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "re");
  if (pipe == nullptr) {
    throw ToolError(ExitCode::Usage, std::string("password command: ") + std::strerror(errno));
  }
  std::string output;
  char piece[256];
  for (std::size_t length = 0; (length = std::fread(piece, 1, sizeof piece, pipe)) > 0;) {
    output.append(piece, length);
  }
  if (pclose(pipe) != 0) {
    throw ToolError(ExitCode::Usage, "the password command failed");
  }
  std::string line = WithoutCarriageReturn(output.substr(0, output.find('\n')));
  if (line.empty()) {
    throw ToolError(ExitCode::Usage, "the password command printed nothing");
  }
  return line;
}

std::string PasswordFromTerminal(const std::string& target) {
  const SilentTerminal terminal;
  if (!terminal.Exists()) {
    throw ToolError(ExitCode::Usage, "no password for " + target +
                                         ": give --password-file or --password-command, set the environment variable "
                                         "KELVAR_PASSWORD, or add an account to the configuration file");
  }
  terminal.Write("Password for " + target + ": ");
  return terminal.ReadLine();
}

}  // namespace Kelvar::Tool
