// The simulated machines as the Redfish backend sees them.

#include <gtest/gtest.h>
#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventory.h>

#include <algorithm>

#include "support/BmcSim.h"
#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

KelvarConnection::ConnectionInfo Target(const BmcSim& sim) {
  return LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, sim.Port("redfish"));
}

TEST(RedfishSimulator, TheFullMachineAnswersEveryOperation) {
  const BmcSim sim("full", {"--serve", "redfish"});
  NodeFirmwareInventory inventory(Target(sim));

  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  EXPECT_EQ(inventory.GetNodeFirmwareSystemVPD(vpd), 0);
  EXPECT_STREQ(vpd.MachineType, "7K40");
  EXPECT_STREQ(vpd.SerialNumber, "KV4A017");
  EXPECT_STREQ(vpd.ModelName, "rt140");
  KelvarAgentless::ComputerSystem system;
  EXPECT_EQ(inventory.GetHardwareInfoComputerSystem(system), 0);
  EXPECT_EQ(system.UUID, "6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41");
  EXPECT_EQ(system.ProductName, "Kestrel RT140");

  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> firmware;
  EXPECT_EQ(inventory.GetNodeFirmwareBuildID(firmware), 0);
  ASSERT_EQ(firmware.size(), 1u);
  EXPECT_STREQ(firmware[0].BMCPVQBuildID, "TBC128K-2.45");
  EXPECT_STREQ(firmware[0].BMCPVQBuildDate, "2026-03-14");
  EXPECT_STREQ(firmware[0].SorelBuildID, "SRL103B-1.12");

  std::vector<OtherSystemVPD> components;
  EXPECT_EQ(inventory.GetNodeOtherSystemVPD(components), 0);
  const auto board = std::find_if(components.begin(), components.end(),
                                  [](const OtherSystemVPD& one) { return one.Name == "system board"; });
  ASSERT_NE(board, components.end());
  EXPECT_EQ(board->FruPartNumber, "01KV700");

  std::vector<KelvarNfw::NUMERICSENSORS> sensors;
  EXPECT_EQ(inventory.GetZMCNumericSensors(sensors), 0);
  EXPECT_FALSE(sensors.empty());
  std::vector<KelvarNfw::ZMCDNSSETTINGDATA> dns;
  EXPECT_EQ(inventory.GetZMCDNSSettingData(dns), 0);
  EXPECT_EQ(dns.size(), 6u);
  std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT> endPoints;
  EXPECT_EQ(inventory.GetZMCIPProtocolEndPoint(endPoints), 0);
  EXPECT_FALSE(endPoints.empty());
  std::vector<KelvarNfw::ZMCSTATICIP> addresses;
  EXPECT_EQ(inventory.GetZMCStaticIPAddress(addresses), 0);
  EXPECT_FALSE(addresses.empty());
  std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING> communities;
  EXPECT_EQ(inventory.GetZMCCommunityString(communities), 0);
  EXPECT_EQ(communities.size(), 1u);
}

TEST(RedfishSimulator, TheFullMachineHasFiveLogs) {
  const BmcSim sim("full", {"--serve", "redfish"});
  NodeFirmwareInventory inventory(Target(sim));
  using Entries = std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>;
  using Operation = NodeFirmwareInventory::INVENTORYRETURNCODE (NodeFirmwareInventory::*)(Entries&);
  for (const Operation operation :
       {&NodeFirmwareInventory::GetZMCMessageLogDataRedfish, &NodeFirmwareInventory::GetZMCAuditLogDataViaREST,
        &NodeFirmwareInventory::GetZMCPlatformLogDataViaREST, &NodeFirmwareInventory::GetZMCActiveEventsDataViaREST}) {
    Entries entries;
    EXPECT_EQ((inventory.*operation)(entries), 0);
    EXPECT_FALSE(entries.empty());
  }
  std::vector<MAINTLOGREDFISHDATA> maintenance;
  EXPECT_EQ(inventory.GetZMCMaintLogDataViaREST(maintenance), 0);
  EXPECT_FALSE(maintenance.empty());
}

TEST(RedfishSimulator, AWrongPasswordIsUnauthorized) {
  const BmcSim sim("full", {"--serve", "redfish"});
  auto info = Target(sim);
  info.Password = "wrong";
  NodeFirmwareInventory inventory(info);
  Log::SetMinLogLevel(0);
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  EXPECT_EQ(inventory.GetNodeFirmwareSystemVPD(vpd), 13);
  std::vector<MAINTLOGREDFISHDATA> maintenance;
  EXPECT_EQ(inventory.GetZMCMaintLogDataViaREST(maintenance), 13);
  Log::SetMinLogLevel(1);
}

}  // namespace
}  // namespace Kelvar::Test
