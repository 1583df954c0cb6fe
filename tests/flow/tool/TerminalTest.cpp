// Whether what people see fits their terminal.

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kelvar/Types.h>

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

/// What the tool shows on a terminal of this width.
std::string ScreenOf(const std::vector<const char*>& words, unsigned short columns) {
  const winsize size{24, columns, 0, 0};
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    std::vector<char*> arguments{const_cast<char*>(KELVAR_TOOL)};
    for (const char* word : words) {
      arguments.push_back(const_cast<char*>(word));
    }
    arguments.push_back(nullptr);
    execv(KELVAR_TOOL, arguments.data());
    _exit(127);
  }
  std::string screen;
  char piece[512];
  for (ssize_t length = 0; (length = read(terminal, piece, sizeof piece)) > 0;) {
    screen.append(piece, static_cast<std::size_t>(length));
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  std::erase(screen, '\r');
  return screen;
}

std::size_t WidestLine(const std::string& screen) {
  std::istringstream lines(screen);
  std::size_t widest = 0;
  for (std::string line; std::getline(lines, line);) {
    const auto continues = [](char byte) { return (static_cast<u8>(byte) & 0xC0) == 0x80; };
    std::erase_if(line, continues);
    widest = std::max(widest, line.size());
  }
  return widest;
}

TEST(Terminal, HoldsTheVerdictAndTheTables) {
  for (const unsigned short columns : {u16{60}, u16{80}}) {
    const std::string health = ScreenOf({"health", "demo:", "-q", "--color", "never"}, columns);
    EXPECT_THAT(health, HasSubstr("\n  critical: Fan 3 Tach 0 rpm, below 900\n"));
    EXPECT_LE(WidestLine(health), columns);
    const std::string all = ScreenOf({"demo:", "-q", "--color", "never"}, columns);
    EXPECT_THAT(all, HasSubstr("\nnetwork\n"));
    EXPECT_LE(WidestLine(all), columns);
  }
  EXPECT_THAT(ScreenOf({"health", "demo:", "-q", "--color", "never"}, 60),
              HasSubstr("  critical: Numeric sensor Fan 3 Tach going low (lower\n    critical) has asserted.\n"));
}

}  // namespace
}  // namespace Kelvar::Test
