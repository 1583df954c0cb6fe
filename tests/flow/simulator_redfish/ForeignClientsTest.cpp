// The simulator as a program, read by clients that others wrote.

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/BmcSim.h"
#include "support/Command.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

class ForeignClients : public testing::Test {
 protected:
  static std::string Address(const BmcSim& sim) { return "127.0.0.1:" + std::to_string(sim.Port("redfish")); }

  static CommandResult Redfishtool(const BmcSim& sim, const std::string& login, const std::string& password,
                                   std::vector<std::string> words) {
    const std::vector<std::string> options{"redfishtool", "-r", Address(sim), "-u", "admin", "-p",
                                           password,      "-S", "Always",     "-A", login};
    words.insert(words.begin(), options.begin(), options.end());
    return RunCommand(words);
  }
};

TEST_F(ForeignClients, RedfishtoolReadsSystemsAndLogs) {
  BmcSim sim("full", {"--serve", "redfish"});
  const auto system = Redfishtool(sim, "Session", "kelvar-demo", {"Systems", "-F", "get"});
  EXPECT_EQ(system.exitCode, 0) << system.errors;
  EXPECT_NE(system.output.find("\"SKU\": \"7K40CTO1WW\""), std::string::npos) << system.output;
  const auto log = Redfishtool(sim, "Basic", "kelvar-demo", {"Systems", "-F", "Logs", "-i", "StandardLog", "-E"});
  EXPECT_EQ(log.exitCode, 0) << log.errors;
  EXPECT_NE(log.output.find("Fan 3 has failed. Redundancy lost."), std::string::npos) << log.output;
}

TEST_F(ForeignClients, RedfishtoolReadsTheRootOfEachMachine) {
  for (const auto& entry : std::filesystem::directory_iterator(kExpectations)) {
    const std::string name = entry.path().stem().string();
    BmcSim sim(name, {"--serve", "redfish"});
    const auto root = Redfishtool(sim, "Session", "kelvar-demo", {"root"});
    EXPECT_EQ(root.exitCode, 0) << name << ": " << root.errors;
    EXPECT_NE(root.output.find("\"RedfishVersion\""), std::string::npos) << name << ": " << root.output;
  }
}

TEST_F(ForeignClients, RedfishtoolIsToldOfAWrongPassword) {
  BmcSim sim("full", {"--serve", "redfish"});
  const auto refused = Redfishtool(sim, "Basic", "wrong", {"Systems", "-F", "get"});
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_NE((refused.output + refused.errors).find("401"), std::string::npos) << refused.output << refused.errors;
}

TEST_F(ForeignClients, CurlReadsWithTheFaultsOfTheCommandLine) {
  BmcSim sim("full", {"--serve", "redfish", "--sensors", "100", "--fault", "redfish:no-expand", "--fault",
                      "redfish:/redfish/v1/Systems status=503"});
  const auto status = [&sim](const std::string& target) {
    return RunCommand({"curl", "-gks", "-o", "/dev/null", "-w", "%{http_code}", "-u", "admin:kelvar-demo",
                       "https://" + Address(sim) + target})
        .output;
  };
  EXPECT_EQ(status("/redfish/v1/Chassis/1/Sensors?$expand=."), "501");
  EXPECT_EQ(status("/redfish/v1/Systems"), "503");
  EXPECT_EQ(status("/redfish/v1/Chassis/1/Sensors/100"), "200");
}

TEST_F(ForeignClients, OpensslGetsATls13Session) {
  BmcSim sim("full", {"--serve", "redfish"});
  const auto session = RunCommand({"openssl", "s_client", "-brief", "-connect", Address(sim)});
  EXPECT_NE((session.output + session.errors).find("Protocol version: TLSv1.3"), std::string::npos) << session.errors;
}

}  // namespace
}  // namespace Kelvar::Test
