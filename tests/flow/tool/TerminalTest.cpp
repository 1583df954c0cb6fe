// Whether what people see fits their terminal.

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <kelvar/Types.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// What the tool shows on a terminal of this width.
std::string ScreenOf(const std::vector<const char*>& words, unsigned short columns) {
  const winsize size{24, columns, 0, 0};
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    std::vector<char*> arguments{const_cast<char*>(kToolProgram)};
    for (const char* word : words) {
      arguments.push_back(const_cast<char*>(word));
    }
    arguments.push_back(nullptr);
    execv(kToolProgram, arguments.data());
    _exit(127);
  }
  std::string screen;
  char piece[512];
  for (ssize_t length = 0; (length = read(terminal, piece, sizeof piece)) > 0;) {
    screen.append(piece, static_cast<std::size_t>(length));
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  // A progress line is a line of its own: what comes next begins where it did.
  return std::regex_replace(std::regex_replace(screen, std::regex("\r+\n"), "\n"), std::regex("\r|\x1b\\[K"), "\n");
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
  const BmcSim full("full", {"--serve", "redfish"});
  const BmcSim sensors("amd", {"--serve", "redfish"});
  const TemporaryFolder folder;
  const std::string list =
      folder.Write("list", "redfish://admin@127.0.0.1:" + std::to_string(full.Port("redfish")) +
                               "\nredfish://admin@127.0.0.1:" + std::to_string(sensors.Port("redfish")) + "\n");
  setenv("KELVAR_PASSWORD", "kelvar-demo", 1);
  for (const unsigned short columns : {u16{60}, u16{80}, u16{200}}) {
    SCOPED_TRACE(columns);
    const std::string health = ScreenOf({"health", "demo:", "-q", "--color", "never"}, columns);
    EXPECT_THAT(health, HasSubstr("\n  critical: Fan 3 Tach 0 rpm, below 900\n"));
    EXPECT_LE(WidestLine(health), columns);
    const std::string all = ScreenOf({"demo:", "-q", "--color", "never"}, columns);
    EXPECT_THAT(all, HasSubstr("\nnetwork\n"));
    EXPECT_LE(WidestLine(all), columns);
    EXPECT_EQ(WidestLine(all) > 80, columns > 80) << "more columns are used where there are some";
    const std::string records = ScreenOf({"operation", "demo:", "log", "-q", "--color", "never"}, columns);
    EXPECT_THAT(records, HasSubstr("2026-03-14T08:01:12Z  ")) << "the time";
    EXPECT_THAT(records, HasSubstr("Service processor zmc1"));
    EXPECT_LE(WidestLine(records), columns);
    const std::string fleet = ScreenOf({"--targets", list.c_str(), "--color", "never"}, columns);
    EXPECT_THAT(fleet, HasSubstr("\nsensors\n"));
    EXPECT_THAT(fleet, HasSubstr("2 targets in"));
    EXPECT_LE(WidestLine(fleet), columns);
  }
  unsetenv("KELVAR_PASSWORD");
  EXPECT_THAT(ScreenOf({"operation", "demo:", "log", "-q", "--wide"}, 80), HasSubstr("EventSequenceNumber"));
  EXPECT_THAT(ScreenOf({"health", "demo:", "-q", "--color", "never"}, 60),
              HasSubstr("  critical: Numeric sensor Fan 3 Tach going low (lower\n    critical) has asserted.\n"));
}

TEST(Terminal, IsNotNeeded) {
  const CommandResult health = RunTool({"health", "demo:", "demo:cim", "-q"});
  EXPECT_THAT(health.output, HasSubstr("demo:cim: critical\n"));
  EXPECT_EQ(health.exitCode, 31);
  EXPECT_THAT(health.output,
              HasSubstr("\n  critical: Numeric sensor Fan 3 Tach going low (lower critical) has asserted.\n"));
  const CommandResult lines = RunTool({"health", "demo:", "demo:ipmi", "-q", "--format", "jsonl"});
  EXPECT_EQ(lines.exitCode, 31);
  EXPECT_EQ(std::count(lines.output.begin(), lines.output.end(), '\n'), 2);
  EXPECT_THAT(lines.output, AllOf(HasSubstr("\"health\":\"critical\",\"reasons\":[{"), HasSubstr("\"health\":\"ok\""),
                                  HasSubstr("\"families\":{"), Not(HasSubstr("\"sensors\":["))));
  EXPECT_THAT(RunTool({"health", "demo:", "demo:ipmi", "--format", "json"}).output, HasSubstr("}\n,\n{"));
  const CommandResult wrong = RunTool({"health", "demo:", "--nagios", "--format", "json"});
  EXPECT_EQ(wrong.exitCode, 3);
  EXPECT_THAT(wrong.output, HasSubstr("KELVAR UNKNOWN - wrong usage"));
  EXPECT_EQ(RunTool({"-q", "redfish://admin@127.0.0.1:9", "system"}).errors, "");
  const CommandResult all = RunTool({"demo:"});
  EXPECT_THAT(all.output, HasSubstr("\nnetwork\n"));
  EXPECT_GT(WidestLine(all.output), 80U) << "nothing is left out";
  EXPECT_EQ(all.errors, "");
  EXPECT_THAT(health.output + all.output, Not(HasSubstr("\x1b")));
}

}  // namespace
}  // namespace Kelvar::Test
