// What the program says and how it ends when it cannot serve; its fleet's announcement.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/BmcSim.h"
#include "support/Command.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

struct Refusal {
  std::vector<std::string> arguments;
  int exitCode;
  std::string said;
  std::vector<std::string> environment = {};
};

class ProgramTest : public testing::Test {
 protected:
  const TemporaryFolder folder_;
};

CommandResult RunSimulator(std::vector<std::string> arguments, const std::vector<std::string>& environment = {}) {
  arguments.insert(arguments.begin(), kSimulatorProgram);
  return RunCommand(arguments, environment);
}

TEST_F(ProgramTest, DoesNotServeWhatItCannotAnnounce) {
  for (const char* arguments : {"--serve redfish", "--fleet 2"}) {
    const std::string line = std::string("exec \"$0\" --until-eof ") + arguments + " >/dev/full";
    const CommandResult result = RunCommand({"sh", "-c", line, kSimulatorProgram});
    EXPECT_EQ(result.exitCode, 1) << arguments;
    EXPECT_EQ(result.errors, "kelvar-bmcsim: cannot write standard output\n") << arguments;
  }
}

TEST_F(ProgramTest, SaysInOneLineWhatIsWrong) {
  const BmcSim other("full", {"--serve", "redfish"});
  const std::string taken = std::to_string(other.Port("redfish"));
  folder_.Write("machine.json", "{\"name\": \"x\", ");
  const std::vector<Refusal> refusals = {
      {{"--machine", "nobody"}, 2, "no machine \"nobody\""},
      {{"--machine", folder_.Path()}, 1, "machine.json, at byte 14"},
      {{"--serve", "redfish", "--redfish", taken}, 1, "port " + taken},
      {{"--fleet", "2", "--redfish", taken}, 1, "port " + taken},
      {{"--serve", "ipmi"}, 1, "ipmi_sim does not start: it cannot be run", {"PATH=/none"}},
      {{"--fault", "redfish:nothing"}, 1, "no fault is named \"nothing\""},
      {{"--redfish", "70000"}, 2, "--redfish"},
      {{"--serve", "smoke"}, 2, "smoke"},
      {{"--bogus"}, 2, "--bogus"},
      {{"--fleet", "0"}, 2, "--fleet"},
      {{"--fleet", "3", "--fleet-fault", "2:dead"}, 1, "SHARE:SPEC"},
      {{"record", "https://127.0.0.1"}, 2, "DIR"},
      {{"record", "ftp://127.0.0.1", folder_.Path()}, 1, "https://HOST"},
      {{"record", "http://127.0.0.1:1", folder_ / "x"}, 1, "no service root"},
  };
  for (const Refusal& refusal : refusals) {
    std::vector<std::string> arguments = refusal.arguments;
    if (arguments.front() != "record") {
      arguments.push_back("--until-eof");
    }
    const CommandResult result = RunSimulator(arguments, refusal.environment);
    EXPECT_EQ(result.exitCode, refusal.exitCode) << refusal.said;
    EXPECT_THAT(result.errors, HasSubstr(refusal.said));
    EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    EXPECT_EQ(result.output, "");
  }
}

TEST_F(ProgramTest, NamesAFleetsPortsAndTargets) {
  const std::filesystem::path file = folder_ / "targets";
  const CommandResult result = RunSimulator(
      {"--until-eof", "--fleet", "3", "--serve", "redfish,cim", "--fleet-fault", "0.34:dead", "--targets", file});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 3);
  EXPECT_THAT(result.output, HasSubstr(R"({"machine":"full","index":0,"fault":"dead","cim":)"));
  std::ifstream targets(file);
  std::string line;
  std::size_t count = 0;
  while (std::getline(targets, line)) {
    EXPECT_THAT(line, testing::MatchesRegex(R"((redfish|cim\+http)://admin@127.0.0.1:[0-9]+)"));
    ++count;
  }
  EXPECT_EQ(count, 6u);
}

}  // namespace
}  // namespace Kelvar::Test
