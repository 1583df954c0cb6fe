#include <gtest/gtest.h>

#include <kelvar/NodeFirmwareInventory.h>

#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

KelvarConnection::ConnectionInfo Lan(const IpmiSim& server, const std::string& password) {
  auto info = LoopbackInfo(KelvarConnection::CONNECTION_CASE_IPMI_LAN, server.Port());
  info.Password = password;
  return info;
}

TEST(IpmiConnection, OpensOverLan) {
  const IpmiSim server;
  const LogCapture log;
  NodeFirmwareInventory inventory(Lan(server, "kelvar-demo"));
  EXPECT_TRUE(log.Has(
      4, "In NodeFirmwareInventoryImpIPMI(), new ipmiclient(127.0.0.1,admin," + std::to_string(server.Port()) + ",3)"));
  EXPECT_TRUE(log.Has(4, "In NodeFirmwareInventoryImpIPMI(),  connect() success."));
  NodeFirmwareInventory::ZMCGENERATIONTYPE generation = NodeFirmwareInventory::ZMC_GENERATION_1;
  EXPECT_EQ(inventory.GetZMCGenerationType(generation), 15) << "a target without the OEM commands";
  EXPECT_TRUE(log.Has(1, "IPMI command failed wtih completionCode : 0xc1"));
  EXPECT_FALSE(log.Contains("kelvar-demo"));
}

TEST(IpmiConnection, WrongPasswordShowsInTheOperations) {
  const IpmiSim server;
  const LogCapture log;
  NodeFirmwareInventory inventory(Lan(server, "not-the-word"));
  EXPECT_TRUE(log.Has(1, "In NodeFirmwareInventoryImpIPMI(),  connect() failed for IPMIAUTHFAIL."));
  EXPECT_EQ(inventory.GetConnectStatus(), 0);
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  EXPECT_EQ(inventory.GetNodeFirmwareBuildID(builds), 1);
  EXPECT_TRUE(builds.empty());
  EXPECT_FALSE(log.Contains("not-the-word"));

  EXPECT_EQ(inventory.ResetConn(Lan(server, "kelvar-demo")), 0);
  EXPECT_EQ(inventory.GetNodeFirmwareBuildID(builds), 15) << "connected now, and refused by the target";
}

TEST(IpmiConnection, LocalInterfaceReadsNothingButItsNumber) {
  const LogCapture log;
  KelvarConnection::ConnectionInfo info;
  info.Host = "host";
  info.UserName = "admin";
  info.Password = "kelvar-demo";
  info.Port = 623;
  info.ZMCIndex = 65535;  // a device that no machine has
  NodeFirmwareInventory inventory(info);
  EXPECT_TRUE(log.Has(4, "In NodeFirmwareInventoryImpIPMI(), new ipmiclient(65535)"));
  EXPECT_TRUE(log.Has(1, "In NodeFirmwareInventoryImpIPMI(),  connect() failed."));
  EXPECT_EQ(inventory.GetConnectStatus(), 0);
  KelvarAgentless::ComputerSystem system;
  EXPECT_EQ(inventory.GetHardwareInfoComputerSystem(system), 1);
  std::vector<KelvarOptions::SoftwareIdentity_> identities;
  EXPECT_EQ(inventory.GetNFWSoftwareIdentity(identities), 15) << "the transport refuses";
}

}  // namespace
}  // namespace Kelvar::Test
