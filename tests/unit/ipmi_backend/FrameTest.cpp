#include <gmock/gmock.h>

#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Test {
namespace {

using NFI = NodeFirmwareInventory;
using Backend = NodeFirmwareInventoryImpIPMI;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(IpmiConstruction, ConnectsOnceAndTellsHowItEnded) {
  const std::string failure = "In NodeFirmwareInventoryImpIPMI(),  connect() failed";
  const struct {
    CONNECTIONSTATE state;
    u32 level;
    std::string line;
  } cases[] = {
      {IPMICONNECTED, 4, "In NodeFirmwareInventoryImpIPMI(),  connect() success."},
      {IPMIAUTHFAIL, 1, failure + " for IPMIAUTHFAIL."},
      {IPMICONNECTFAIL, 1, failure + "."},
      {static_cast<CONNECTIONSTATE>(7), 1, failure + "."},
  };
  for (const auto& c : cases) {
    const LogCapture log;
    ScriptedIpmi bmc;
    bmc.connectState = c.state;
    {
      Backend backend({}, bmc.Transport());
      EXPECT_EQ(bmc.connects, 1);
      EXPECT_TRUE(log.Has(c.level, c.line)) << c.line;
      EXPECT_EQ(backend.GetConnectStatus(), 0) << "it tells of the transport object, not of the connection";
      EXPECT_THAT(bmc.commands, IsEmpty());
      EXPECT_EQ(bmc.disconnects, 0);
    }
    EXPECT_EQ(bmc.disconnects, 1);
    EXPECT_EQ(bmc.transports, 0);
    EXPECT_EQ(bmc.connects, 1);
  }
}

TEST(IpmiConstruction, ExceptionOfTheTransportLeavesTheConstructor) {
  ScriptedIpmi bmc;
  bmc.connectException = "no memory for a session";
  EXPECT_THROW(Backend({}, bmc.Transport()), IpmiException);
  EXPECT_EQ(bmc.transports, 0) << "the transport is not leaked";
}

TEST(IpmiConstruction, ExceptionAtDisconnectStaysInside) {
  ScriptedIpmi bmc;
  bmc.disconnectThrows = true;
  { const Backend backend({}, bmc.Transport()); }
  EXPECT_EQ(bmc.transports, 0);
}

/// Every operation that needs a connection, on one backend.
std::vector<int> AllOperations(Backend& backend) {
  KelvarAgentless::ComputerSystem system;
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  std::vector<OtherSystemVPD> components;
  NFI::ZMCGENERATIONTYPE generation = NFI::ZMC_GENERATION_1;
  return {backend.GetHardwareInfoComputerSystem(system), backend.GetNodeFirmwareBuildID(builds),
          backend.GetNodeFirmwareSystemVPD(vpd),         backend.GetNodeFirmwareSystemVPDViaFRU(vpd),
          backend.GetNodeOtherSystemVPD(components),     backend.GetZMCGenerationType(generation)};
}

TEST(IpmiFrame, OperationsNeedTheConnection) {
  const LogCapture log;
  ScriptedIpmi bmc;
  bmc.connectState = IPMIAUTHFAIL;
  Backend backend({}, bmc.Transport());
  EXPECT_THAT(AllOperations(backend), ElementsAre(1, 1, 1, 1, 1, 1));
  EXPECT_THAT(bmc.commands, IsEmpty());

  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{"typed", "serial", "", 0};
  backend.GetNodeFirmwareSystemVPD(vpd);
  EXPECT_STREQ(vpd.MachineType, "typed") << "untouched";
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  backend.GetNodeFirmwareBuildID(builds);
  EXPECT_THAT(builds, IsEmpty());
}

TEST(IpmiFrame, WithoutATransportNothingIsAsked) {
  const LogCapture log;
  Backend backend({}, nullptr);
  EXPECT_THAT(log.Texts(1), ElementsAre("In NodeFirmwareInventoryImpIPMI(),  NULL return from new IpmiClient()."));
  EXPECT_EQ(backend.GetConnectStatus(), -1);
  EXPECT_THAT(AllOperations(backend), ElementsAre(1, 1, 1, 1, 1, 1));
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  std::vector<KelvarOptions::SoftwareIdentity_> identities;
  EXPECT_EQ(backend.IPMIReadVPD(vpd), 15);
  EXPECT_EQ(backend.GetNFWSoftwareIdentity(identities), 15);
}

TEST(IpmiFrame, OperationsThatIPMILacksAreNotImplemented) {
  const LogCapture log;
  ScriptedIpmi bmc;
  for (const CONNECTIONSTATE state : {IPMICONNECTED, IPMICONNECTFAIL}) {
    bmc.connectState = state;
    Backend backend({}, bmc.Transport());
    std::vector<KelvarNfw::NUMERICSENSORS> sensors;
    std::vector<KelvarNfw::ZMCMESSAGELOGDATA> entries;
    SystemBoardVPD board;
    EXPECT_EQ(backend.GetZMCNumericSensors(sensors), 12);
    EXPECT_EQ(backend.GetZMCMessageLogData(entries, 0), 12);
    EXPECT_EQ(backend.GetSystemBoardVPD(board), 12);
  }
}

TEST(IpmiGeneration, DecodesOrKeepsTheCallersValue) {
  const auto unset = static_cast<NFI::ZMCGENERATIONTYPE>(9);
  const struct {
    IpmiAnswer answer;
    int code;
    int generation;
    std::vector<std::string> failures;
  } cases[] = {
      {Reply({0xFF, 0xFE}), 0, 0, {}},
      {Reply({0x00, 0x03, 0x00}), 0, 1, {}},
      {Reply({0x01}), 15, 9, {}},
      {Reply({}), 15, 9, {}},
      {Refuse(0xC9), 2, 9, {"IPMI command failed wtih completionCode : 0xc9"}},
      {Refuse(0xCB), 3, 9, {"IPMI command failed wtih completionCode : 0xcb"}},
      {Refuse(0xD5), 4, 9, {"IPMI command failed wtih completionCode : 0xd5"}},
      {Refuse(0xC1), 15, 9, {"IPMI command failed wtih completionCode : 0xc1"}},
      {NoExchange(), 15, 9, {"IPMI command failed wtih completionCode : 0xff"}},
      {Throw("lost"), 5, 9, {"In NodeFirmwareInventoryImpIPMI::GetZMCGenerationType(), catch exception : lost"}},
      {ThrowOther(), 15, 9, {"In NodeFirmwareInventoryImpIPMI::GetZMCGenerationType(), catch other exception"}},
  };
  for (const auto& c : cases) {
    ScriptedIpmi bmc;
    bmc.On(0x3A, 0xC1, {c.answer});
    Backend backend({}, bmc.Transport());
    const LogCapture log;
    auto generation = unset;
    EXPECT_EQ(backend.GetZMCGenerationType(generation), c.code);
    EXPECT_EQ(generation, c.generation);
    EXPECT_EQ(log.Texts(1), c.failures);
    EXPECT_TRUE(log.Has(4, "Exiting NodeFirmwareInventoryImpIPMI::GetZMCGenerationType() ,ret =" +
                               std::to_string(c.code) + " ZMCGEN =" + std::to_string(c.generation)));
  }
}

}  // namespace
}  // namespace Kelvar::Test
