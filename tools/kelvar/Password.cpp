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

std::string FirstLine(const std::string& file) {
  std::ifstream input(file);
  std::string line;
  if (!std::getline(input, line)) {
    throw ToolError(ExitCode::Usage,
                    "password file " + file + ": " + (input.is_open() ? "empty" : std::strerror(errno)));
  }
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  return line;
}

}  // namespace

std::string ReadPassword(const std::string& file, const std::string& target) {
  if (!file.empty()) {
    return FirstLine(file);
  }
  if (const char* password = std::getenv("KELVAR_PASSWORD"); password != nullptr) {
    return password;
  }
  const SilentTerminal terminal;
  if (!terminal.Exists()) {
    throw ToolError(ExitCode::Usage, "no password: give --password-file or the environment variable KELVAR_PASSWORD");
  }
  terminal.Write("Password for " + target + ": ");
  return terminal.ReadLine();
}

}  // namespace Kelvar::Tool
