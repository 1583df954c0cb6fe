#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>
#include <stdexcept>
#include <thread>

#include <kelvar/GlobalConfig.h>
#include <kelvar/Log.h>

#include "common/log/LogMacros.h"
#include "support/LogCapture.h"

namespace Kelvar {
namespace {

using Test::LogCapture;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

TEST(Log, BuildsNothingThatIsNotWanted) {
  const LogCapture log(2);
  int built = 0;
  KELVAR_LOG(3) << ++built;
  EXPECT_EQ(built, 0);
  KELVAR_LOG(2) << "gap " << ++built;
  EXPECT_THAT(log.Texts(2), ElementsAre("gap 1"));
  Log(3, "file.cpp", 1).Stream() << "not wanted either";
  EXPECT_EQ(log.Records().size(), 1U);
}

TEST(Log, LevelZeroSwitchesOff) {
  const LogCapture log(0);
  KELVAR_LOG(1) << "failure";
  EXPECT_TRUE(log.Records().empty());
}

TEST(Log, PlacesAreRelativeToTheProject) {
  const LogCapture log(1);
  KELVAR_LOG(1) << "here";
  ASSERT_EQ(log.Records().size(), 1U);
  EXPECT_EQ(log.Records()[0].file, "tests/unit/log/LogTest.cpp");
}

TEST(Log, GoesToStandardErrorWithoutASinkAndEscapes) {
  CaptureStderr();
  KELVAR_LOG(1) << "from a target: \x1B[2J";
  KELVAR_LOG(2) << "below the default level";
  const std::string written = GetCapturedStderr();
  EXPECT_THAT(written, HasSubstr("from a target: \\x1b[2J"));
  EXPECT_THAT(written, ::testing::Not(HasSubstr("below the default level")));
}

TEST(Log, WritesNumbersTheSameInAnyLocale) {
  class Grouped : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const LogCapture log(1);
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new Grouped));
  KELVAR_LOG(1) << "port " << 5988;
  std::locale::global(former);
  EXPECT_THAT(log.Texts(1), ElementsAre("port 5988"));
}

TEST(Log, SurvivesASinkThatThrows) {
  Log::SetSink([](u32, const char*, int, const std::string&) { throw std::runtime_error("full"); });
  EXPECT_NO_THROW(KELVAR_LOG(1) << "record");
  Log::SetSink(nullptr);
}

TEST(Log, RecordsOfManyThreadsStayWhole) {
  const LogCapture log(4);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([] {
      for (int i = 0; i < 200; ++i) {
        KELVAR_LOG(3) << "first half, "
                      << "second half";
        Log::SetMinLogLevel(4);
        SetGlobalConfigValue("thread-test", GetGlobalConfigValue("thread-test", 0) + 1);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  const auto texts = log.Texts(3);
  EXPECT_EQ(texts.size(), 800U);
  EXPECT_THAT(texts, ::testing::Each("first half, second half"));
}

TEST(GlobalConfig, GivesTheDefaultUntilSet) {
  EXPECT_EQ(GetGlobalConfigValue("unset", 7), 7);
  SetGlobalConfigValue("set", 0);
  EXPECT_EQ(GetGlobalConfigValue("set", 7), 0);
}

}  // namespace
}  // namespace Kelvar
