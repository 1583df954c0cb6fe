// A fleet in this process, read with the library.

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/NodeFirmwareInventory.h>

#include "simulator/fleet/FleetPlan.h"
#include "simulator/fleet/SimulatedFleet.h"
#include "support/Loopback.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

constexpr std::size_t kMachines = 8;

class FleetOfEight : public testing::Test {
 protected:
  FleetOfEight() {
    Simulator::FleetOptions options;
    options.machines = kMachines;
    options.protocols = {"redfish", "cim"};
    options.faults = {"0.125:dead", "0.125:401"};
    options.latency = std::chrono::milliseconds(1);
    fleet_ = std::make_unique<Simulator::SimulatedFleet>(Simulator::LoadMachine("full", kMachineFolder), options);
    members_ = fleet_->Start();
  }

  NodeFirmwareInventory Redfish(std::size_t machine) const {
    return NodeFirmwareInventory(
        LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, members_.at(machine).ports.at("redfish")));
  }
  NodeFirmwareInventory Cim(std::size_t machine) const {
    return NodeFirmwareInventory(
        LoopbackInfo(KelvarConnection::CONNECTION_CASE_CIM_BMC, members_.at(machine).ports.at("cim")));
  }
  bool IsWell(std::size_t machine) const { return members_.at(machine).fault.empty(); }

  std::unique_ptr<Simulator::SimulatedFleet> fleet_;
  std::vector<Simulator::FleetMember> members_;
};

TEST_F(FleetOfEight, EachHasItsOwnIdentityOverBothProtocols) {
  std::set<std::string> serials;
  std::set<std::string> uuids;
  std::size_t well = 0;
  for (std::size_t machine = 0; machine < kMachines; ++machine) {
    KelvarNfw::NODEFIRMWARESYSTEMVPD overRedfish{};
    KelvarNfw::NODEFIRMWARESYSTEMVPD overCim{};
    KelvarAgentless::ComputerSystem system;
    const int code = Redfish(machine).GetNodeFirmwareSystemVPD(overRedfish);
    EXPECT_EQ(code == 0, IsWell(machine)) << machine;
    if (IsWell(machine)) {
      ++well;
      EXPECT_EQ(Cim(machine).GetNodeFirmwareSystemVPD(overCim), 0);
      EXPECT_STREQ(overCim.SerialNumber, overRedfish.SerialNumber);
      EXPECT_STREQ(overRedfish.MachineType, "7K40");
      EXPECT_EQ(Redfish(machine).GetHardwareInfoComputerSystem(system), 0);
      serials.insert(overRedfish.SerialNumber);
      uuids.insert(system.UUID);
    }
  }
  EXPECT_EQ(well, kMachines - 2);
  EXPECT_EQ(serials.size(), well);
  EXPECT_EQ(uuids.size(), well);
}

TEST_F(FleetOfEight, SomeDifferAsTheMachinesDataSay) {
  std::map<std::string, std::vector<std::size_t>> byFirmware;
  std::map<std::size_t, std::vector<std::size_t>> byComponents;
  for (const std::size_t machine : std::vector<std::size_t>{1, 2, 3, 4, 6, 7}) {
    std::vector<KelvarNfw::NODEFIRMWAREBUILDID> firmware;
    std::vector<OtherSystemVPD> overRedfish;
    std::vector<OtherSystemVPD> overCim;
    EXPECT_EQ(Redfish(machine).GetNodeFirmwareBuildID(firmware), 0);
    EXPECT_EQ(Redfish(machine).GetNodeOtherSystemVPD(overRedfish), 0);
    EXPECT_EQ(Cim(machine).GetNodeOtherSystemVPD(overCim), 0);
    byFirmware[firmware.at(0).uEFIBuildID].push_back(machine);
    byComponents[overRedfish.size() * 100 + overCim.size()].push_back(machine);
  }
  EXPECT_THAT(byFirmware, testing::UnorderedElementsAre(testing::Pair(testing::_, std::vector<std::size_t>{2}),
                                                        testing::Pair(testing::_, testing::SizeIs(5))));
  ASSERT_EQ(byComponents.size(), 2u);
  const auto fewest = byComponents.begin();
  EXPECT_EQ(fewest->second, std::vector<std::size_t>{7});
  EXPECT_EQ(byComponents.rbegin()->first - fewest->first, 101u);
}

TEST(FleetPlan, GivesSharesExactlyAndRefusesWhatItDoesNotKnow) {
  using testing::HasSubstr;
  const auto assigned = Simulator::AssignFaults(200, {"0.1:dead", "0.05:slow", "0.05:redfish:starting"});
  EXPECT_EQ(assigned, Simulator::AssignFaults(200, {"0.1:dead", "0.05:slow", "0.05:redfish:starting"}));
  EXPECT_EQ(std::count(assigned.begin(), assigned.end(), "dead"), 20);
  EXPECT_NEAR(static_cast<double>(std::count(assigned.begin(), assigned.begin() + 100, "dead")), 10, 1);
  EXPECT_EQ(std::count(assigned.begin(), assigned.end(), "redfish:starting"), 10);
  EXPECT_EQ(std::count(assigned.begin(), assigned.end(), ""), 160);
  for (const char* wrong : {"dead", "x:dead", "1.5:dead", "-0.1:dead", "0.1:deaf", "0.1:", "0.1"}) {
    EXPECT_THROW(Simulator::AssignFaults(10, {wrong}), std::runtime_error) << wrong;
  }
  EXPECT_THROW(Simulator::AssignFaults(10, {"0.6:dead", "0.6:slow"}), std::runtime_error);
}

}  // namespace
}  // namespace Kelvar::Test
