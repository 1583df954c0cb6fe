#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include <kelvar/Log.h>

#include "tools/kelvar/LogWatch.h"

namespace Kelvar::Tool {
namespace {

struct Line {
  u32 level;
  const char* text;
};

struct Case {
  const char* name;
  std::vector<Line> log;
  std::optional<ExitCode> cause;
  unsigned gaps;
  const char* why;
};

constexpr char refused[] = "Exchange: CIM connect h:1 -> Cannot connect to h:1. Connection failed. (curlCode 7: no)";
constexpr char tls[] = "Exchange: CIM connect h:1 -> Cannot connect to h:1. Connection failed. (curlCode 35: no)";
constexpr char gaveUp[] =
    "Failed to connect remote cimserver with the reason: Cannot connect to h:1. Connection failed.";

TEST(LogWatch, TellsWhyAConnectionOverCimFailed) {
  const Case cases[] = {
      {"refused", {{4, refused}, {1, gaveUp}}, ExitCode::Unreachable, 1, refused + 10},
      {"TLS", {{4, tls}, {4, tls}, {1, gaveUp}}, ExitCode::Tls, 1, tls + 10},
      {"connected at last", {{4, tls}, {4, "Exchange: CIM connect h:1 -> connected"}}, std::nullopt, 0, ""},
      {"trace of nothing else", {{4, "Failed"}, {3, "Failed"}}, std::nullopt, 0, ""},
  };
  LogWatch watch(0);
  for (const Case& c : cases) {
    {
      const TraceWatch trace;
      for (const Line& line : c.log) {
        Log(line.level, "file", 1).Stream() << line.text;
      }
    }
    const Findings found = watch.Take();
    EXPECT_EQ(found.cause, c.cause) << c.name;
    EXPECT_EQ(found.gaps, c.gaps) << c.name;
    EXPECT_EQ(found.why, c.why) << c.name;
    EXPECT_TRUE(found.exchanges.empty()) << "they were not asked for";
  }
  EXPECT_LT(Log::GetMinLogLevel(), 4U) << "no trace is written any more";
}

}  // namespace
}  // namespace Kelvar::Tool
