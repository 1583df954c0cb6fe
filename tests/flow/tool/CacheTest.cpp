// Sensor data records that the tool keeps from one run to the next.

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

constexpr std::size_t kRecords = 20;  // of the machine "full"

class KeptRecords : public testing::Test {
 protected:
  CommandResult Run(const std::string& target, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words = {target, "sensors", "--explain"};
    words.insert(words.end(), more.begin(), more.end());
    CommandResult result = RunTool(words, {"KELVAR_PASSWORD=kelvar-demo", "XDG_CACHE_HOME=" + Home().string()});
    EXPECT_EQ(result.exitCode, 0) << result.errors;
    return result;
  }

  /// How many sensor data records were asked for, pieces counted.
  static std::size_t Asked(const CommandResult& result) {
    const std::string command = "netfn 0xa command 0x23";
    std::size_t count = 0;
    for (std::size_t at = 0; (at = result.errors.find(command, at)) != std::string::npos; ++at) {
      ++count;
    }
    return count;
  }

  static std::string AddressOf(const BmcSim& sim) {
    return "ipmi://admin@127.0.0.1:" + std::to_string(sim.Port("ipmi"));
  }

  fs::path Home() const { return folder_ / "made" / "when missing"; }

  TemporaryFolder folder_;
};

/// The machine "full" without the records of a name.
void MakeMachineWithout(const std::string& name, const fs::path& folder) {
  fs::copy(fs::path(kMachineFolder) / "full", folder, fs::copy_options::recursive);
  rapidjson::Document data;
  data.Parse(ContentOf(folder / "ipmi.json").c_str());
  auto& records = data["sdr"];
  for (auto record = records.Begin(); record != records.End();) {
    record = record->HasMember("name") && (*record)["name"].GetString() == name ? records.Erase(record) : record + 1;
  }
  ASSERT_EQ(records.Size(), kRecords - 1);
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  data.Accept(writer);
  std::ofstream(folder / "ipmi.json") << text.GetString();
}

TEST_F(KeptRecords, AreNotAskedForAgain) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const CommandResult first = Run(AddressOf(sim));
  EXPECT_GE(Asked(first), kRecords);
  EXPECT_EQ(fs::status(Home() / "kelvar").permissions(), fs::perms::owner_all);
  EXPECT_EQ(fs::status(Home()).permissions(), fs::perms::owner_all);
  const CommandResult second = Run(AddressOf(sim));
  EXPECT_EQ(Asked(second), 0U);
  EXPECT_EQ(second.output, first.output);
  EXPECT_GE(Asked(Run(AddressOf(sim), {"--no-cache"})), kRecords);
}

TEST_F(KeptRecords, AreReadAnewWhenTheFileIsDamaged) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const CommandResult first = Run(AddressOf(sim));
  for (const auto& entry : fs::directory_iterator(Home() / "kelvar")) {
    fs::resize_file(entry.path(), fs::file_size(entry.path()) - 1);
  }
  const CommandResult second = Run(AddressOf(sim));
  EXPECT_GE(Asked(second), kRecords);
  EXPECT_EQ(second.output, first.output);
  EXPECT_EQ(Asked(Run(AddressOf(sim))), 0U) << "the file was replaced";
}

TEST_F(KeptRecords, AreReadAnewWhenTheTargetHasOthers) {
  BmcSim sim("full", {"--serve", "ipmi"});
  const std::string address = AddressOf(sim);
  EXPECT_THAT(Run(address).output, HasSubstr("PSU 1 Status"));
  sim.Stop();
  MakeMachineWithout("PSU 1 Status", folder_ / "machine");
  const BmcSim changed(folder_ / "machine", {"--serve", "ipmi", "--ipmi", std::to_string(sim.Port("ipmi"))});
  const CommandResult result = Run(address);
  EXPECT_GE(Asked(result), kRecords - 1);
  EXPECT_THAT(result.output, Not(HasSubstr("PSU 1 Status")));
}

TEST_F(KeptRecords, AreNotWrittenWithoutTheCacheOrOfSimulatedMachines) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  Run(AddressOf(sim), {"--no-cache"});
  Run("demo:ipmi");
  EXPECT_FALSE(fs::exists(Home()));
}

}  // namespace
}  // namespace Kelvar::Test
