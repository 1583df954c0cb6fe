// The whole inventory of the simulator's full machine over CIM.

#include <gmock/gmock.h>

#include <kelvar/NodeFirmwareInventory.h>

#include "common/text/FixedText.h"
#include "support/BmcSim.h"
#include "support/LogCapture.h"
#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

using NFI = NodeFirmwareInventory;
using testing::IsSupersetOf;
using testing::SizeIs;
using Text::FixedView;

KelvarConnection::ConnectionInfo InfoOf(const BmcSim& sim, const std::string& protocol, u32 connectionCase) {
  KelvarConnection::ConnectionInfo info = LoopbackInfo(connectionCase, sim.Port(protocol));
  info.ZMCIndex = 1;
  info.ConnectionType = protocol == "cim-https" ? NFI::CIM_CONNECTION_HTTPS : NFI::CIM_CONNECTION_HTTP;
  return info;
}

void CheckFirmware(NFI& facade) {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  ASSERT_EQ(facade.GetNodeFirmwareBuildID(list), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(list, SizeIs(1));
  EXPECT_EQ(FixedView(list[0].BMCBuildID), "TBC128K-2.45");
  EXPECT_EQ(FixedView(list[0].BMCBuildDate), "20260314");
  EXPECT_EQ(FixedView(list[0].uEFIBackUpBuildID), "TBE198L-3.02");
  EXPECT_EQ(FixedView(list[0].QDGpBuildID), "QDG112C-4.07");
  EXPECT_EQ(FixedView(list[0].WRBpBuildID), "BRN104D-5.20");
  EXPECT_EQ(FixedView(list[0].DRVLNpBuildIDDate), "20260211");
  NFI::ZMCGENERATIONTYPE generation = NFI::ZMC_GENERATION_1;
  EXPECT_EQ(facade.GetZMCGenerationType(generation), NFI::INVENTORY_SUCCESS);
  EXPECT_EQ(generation, NFI::ZMC_GENERATION_2);
}

struct Target {
  const char* flavour;
  const char* protocol;
  u32 connectionCase;
};

class CimInventory : public testing::TestWithParam<Target> {
 protected:
  BmcSim sim{"full", {"--serve", "cim,cim-https", "--cim-flavour", GetParam().flavour}};
  NFI facade{InfoOf(sim, GetParam().protocol, GetParam().connectionCase)};
};

TEST_P(CimInventory, FirmwareAndIdentity) {
  CheckFirmware(facade);
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  EXPECT_EQ(facade.GetNodeFirmwareSystemVPD(vpd), NFI::INVENTORY_SUCCESS);
  EXPECT_EQ(FixedView(vpd.MachineType), "7K40");
  EXPECT_EQ(FixedView(vpd.SerialNumber), "KV4A017");
  KelvarAgentless::ComputerSystem system;
  const int code = facade.GetHardwareInfoComputerSystem(system);
  if (GetParam().connectionCase == KelvarConnection::CONNECTION_CASE_CIM_OMC) {
    EXPECT_NE(code, NFI::INVENTORY_SUCCESS) << "this kind of target has neither class";
    return;
  }
  EXPECT_EQ(code, NFI::INVENTORY_SUCCESS);
  EXPECT_EQ(system.Manufacturer, "Tavrik");
  EXPECT_EQ(system.ProductName, "Kestrel RT140");
  EXPECT_EQ(system.Model + "/" + system.SerialNumber, "7K40/KV4A017");
  EXPECT_EQ(system.UUID, "6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41");
}

TEST_P(CimInventory, ComponentsAndLogs) {
  std::vector<OtherSystemVPD> components;
  EXPECT_EQ(facade.GetNodeOtherSystemVPD(components), NFI::INVENTORY_SUCCESS);
  std::vector<std::string> names;
  for (const OtherSystemVPD& component : components) {
    names.push_back(component.Name + "/" + component.FruPartNumber + "/" + component.SerialNumber);
  }
  EXPECT_THAT(names, IsSupersetOf({"system board 1/01KV700/KVB93A01A", "PCI Riser 1/01KV730/KVB93D007",
                                   "power supply 2/01KV800/OHM70AA2", "drive backplane 1/01KV710/KVB93B114"}));

  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> log;
  EXPECT_EQ(facade.GetZMCMessageLogDataCIM(log, 3), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(log, SizeIs(8));
  EXPECT_EQ(log[7].Message, "CPU 1 has been shut down: \"over temperature\" <98 C> & rising.");
  EXPECT_EQ(log[7].EventID + "/" + log[7].PerceivedSeverity, "QELPU4001N/Fatal/NonRecoverable");
  EXPECT_EQ(log[5].MessageArguments, "DIMM 7^System Memory");
  EXPECT_TRUE(log[6].Hidden);
  EXPECT_EQ(facade.GetZMCAuditLogDataViaCIM(log), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(log, SizeIs(3));
  EXPECT_EQ(log[2].LogName, "Audit log");
  EXPECT_EQ(facade.GetZMCPlatformLogDataViaCIM(log), NFI::INVENTORY_SUCCESS);
  EXPECT_THAT(log, SizeIs(2));
}

TEST_P(CimInventory, NetworkLedsAndSensors) {
  std::vector<KelvarNfw::ZMCDNSSETTINGDATA> dns;
  EXPECT_EQ(facade.GetZMCDNSSettingData(dns), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(dns, SizeIs(2));
  EXPECT_EQ(dns[0].DNSServerAddresses, "192.0.2.53,192.0.2.54");
  std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT> endPoints;
  EXPECT_EQ(facade.GetZMCIPProtocolEndPoint(endPoints), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(endPoints, SizeIs(4));
  EXPECT_EQ(endPoints[1].IPAddress, "2001:db8::17");
  std::vector<KelvarNfw::ZMCSTATICIP> addresses;
  EXPECT_EQ(facade.GetZMCStaticIPAddress(addresses), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(addresses, SizeIs(3));
  EXPECT_EQ(addresses[0].GatewayIPv4Address, "192.0.2.1");
  EXPECT_EQ(addresses[2].IPv6Address, "2001:db8::17 ");
  std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING> communities;
  EXPECT_EQ(facade.GetZMCCommunityString(communities), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(communities, SizeIs(2));
  EXPECT_EQ(communities[1].ElementName, "datacentre");

  std::vector<KelvarNfw::INDICATORLEDS> leds;
  EXPECT_EQ(facade.GetZMCIndicatorLED(leds), NFI::INVENTORY_SUCCESS);
  ASSERT_THAT(leds, SizeIs(7));
  EXPECT_EQ(leds[1].ActivationState + "/" + leds[1].DefaultActivationState + "/" + leds[1].ControlMode + "/" +
                leds[1].OtherIdentifyingInfo,
            "Blinking/Off/Manual/Front panel, rear panel");
  std::vector<KelvarNfw::NUMERICSENSORS> sensors;
  EXPECT_EQ(facade.GetZMCNumericSensors(sensors), NFI::INVENTORY_SUCCESS);
  ASSERT_GE(sensors.size(), 4U);
  EXPECT_EQ(sensors[0].ElementName + "/" + sensors[0].BaseUnits + "/" + sensors[0].HealthState,
            "Ambient Temp/Degrees C/Healthy");
  EXPECT_EQ(sensors[0].CurrentReading, 24.0F);
  EXPECT_EQ(sensors[0].LowerThresholdNonCritical, 5.0F);
}

INSTANTIATE_TEST_SUITE_P(Targets, CimInventory,
                         testing::Values(Target{"bmc", "cim", KelvarConnection::CONNECTION_CASE_CIM_BMC},
                                         Target{"esxi", "cim-https", KelvarConnection::CONNECTION_CASE_CIM_ESXI},
                                         Target{"omc", "cim", KelvarConnection::CONNECTION_CASE_CIM_OMC}),
                         [](const auto& target) { return std::string(target.param.flavour); });

TEST(CimLogin, WrongPasswordIsToldAndNotLogged) {
  LogCapture log;
  const BmcSim sim("full", {"--serve", "cim"});
  auto info = InfoOf(sim, "cim", KelvarConnection::CONNECTION_CASE_CIM_BMC);
  info.Password = "not-the-one";
  NFI facade(info);
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  EXPECT_EQ(facade.GetNodeFirmwareSystemVPD(vpd), NFI::INVENTORY_UNAUTHORIZED);
  std::vector<KelvarNfw::INDICATORLEDS> leds;
  EXPECT_EQ(facade.GetZMCIndicatorLED(leds), NFI::INVENTORY_CONNECT_FAILED);
  EXPECT_TRUE(log.Contains("admin:**********@127.0.0.1:"));
  EXPECT_FALSE(log.Contains("not-the-one"));
}

TEST(CimReset, NewConnectionRecordReplacesTheBackend) {
  const BmcSim first("full", {"--serve", "cim"});
  NFI facade(InfoOf(first, "cim", KelvarConnection::CONNECTION_CASE_CIM_BMC));
  CheckFirmware(facade);
  const BmcSim second("full", {"--serve", "cim"});
  EXPECT_EQ(facade.ResetConn(InfoOf(second, "cim", KelvarConnection::CONNECTION_CASE_CIM_BMC)), 0);
  CheckFirmware(facade);
}

}  // namespace
}  // namespace Kelvar::Test
