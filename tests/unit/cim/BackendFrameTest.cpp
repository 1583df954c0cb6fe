#include "support/FixedOperations.h"
#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarConnection::ConnectionInfo;
using testing::IsEmpty;

/// What an operation asks first, and the level of the lines of its clauses.
const struct {
  const char* name;
  const char* firstClass;
  u32 clauseLevel;
} kOperations[] = {
    {"system", "QEL_Chassis", 2},
    {"firmware", "CIM_SoftwareIdentity", 1},
    {"components", "CIM_PhysicalElement", 2},
    {"generation", "CIM_SoftwareIdentity", 4},
    {"dns", "CIM_DNSSettingData", 2},
    {"ip", "CIM_IPProtocolEndpoint", 2},
    {"static-ip", "CIM_StaticIPAssignmentSettingData", 2},
    {"snmp", "CIM_SNMPCommunityString", 2},
    {"leds", "CIM_IndicatorLED", 2},
    {"sensors", "CIM_NumericSensor", 2},
};

/// The result of an operation of kOperations.
int Call(const char* name, NodeFirmwareInventory& facade) {
  return FixedOperationNamed(name).call(facade).result;
}

class BackendFrame : public CimFixture {};

TEST_F(BackendFrame, ClausesGiveTheirCodesAndLines) {
  const auto facade = Facade();
  for (const auto& operation : kOperations) {
    SCOPED_TRACE(operation.name);
    LogCapture log;
    server.OnClassReply(operation.firstClass, HttpError(401));
    EXPECT_EQ(Call(operation.name, *facade), 1);
    server.OnClassError(operation.firstClass, 6, "nothing there");
    EXPECT_EQ(Call(operation.name, *facade), 9);
    const std::string in = "in " + FixedOperationNamed(operation.name).Function() + "(), Catch ";
    EXPECT_TRUE(log.Has(operation.clauseLevel, in + "CIMClientHTTPErrorException : HTTP Error (401 Scripted)."));
    EXPECT_TRUE(log.Has(operation.clauseLevel, in + "other CIM Exception : nothing there"));
    server.OnClass(operation.firstClass, "");
    EXPECT_EQ(Call(operation.name, *facade), 7) << "no instance";
  }
  EXPECT_THAT(pauses, IsEmpty()) << "the clauses do not reconnect";
}

TEST_F(BackendFrame, WithoutAClientEachOperationTriesToConnectOnce) {
  ConnectionInfo info = Info();
  {
    ScriptedCimServer gone;
    info.Port = gone.Port();
  }
  const auto facade = Facade(info);
  EXPECT_EQ(facade->GetConnectStatus(), 0) << "tells that the transport object exists";
  for (const auto& operation : kOperations) {
    pauses.clear();
    EXPECT_EQ(Call(operation.name, *facade), 1) << operation.name;
    EXPECT_EQ(pauses.size(), 3U) << operation.name;
  }
  pauses.clear();
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_CIM_ESXI;
  const auto esxi = Facade(info);
  pauses.clear();
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  EXPECT_EQ(esxi->GetNodeFirmwareSystemVPD(vpd), 1);
  EXPECT_EQ(pauses.size(), 3U) << "not once more for the path of ESXi";
}

TEST_F(BackendFrame, ServerThatComesUpIsPickedUpByTheNextOperation) {
  ConnectionInfo info = Info();
  info.ConnectionType = 1;
  ScriptedCimServer secure(ScriptedHttpServer::Options{.tls = true});
  secure.Http().FailConnections(ConnectionFault::CloseAtOnce, 3);
  info.Port = secure.Port();
  const auto facade = Facade(info);
  EXPECT_EQ(pauses.size(), 3U);
  std::vector<KelvarNfw::INDICATORLEDS> leds;
  EXPECT_EQ(facade->GetZMCIndicatorLED(leds), 7);
  EXPECT_EQ(pauses.size(), 3U);
}

TEST_F(BackendFrame, UnconnectedClientGivesNine) {
  ConnectionInfo info = Info();
  info.ConnectionType = 7;
  const auto facade = Facade(info);
  std::vector<KelvarNfw::INDICATORLEDS> leds;
  EXPECT_EQ(facade->GetZMCIndicatorLED(leds), 9);
}

TEST_F(BackendFrame, NamespaceFollowsTheConnectionCase) {
  for (const auto& [connectionCase, nameSpace] :
       {std::pair(2U, "root/cimv2"), std::pair(3U, "qel/zmc2/cimv2"), std::pair(4U, "root/cimv2")}) {
    const auto facade = Facade(Info(connectionCase));
    std::vector<KelvarNfw::INDICATORLEDS> leds;
    std::vector<KelvarNfw::ZMCMESSAGELOGDATA> entries;
    facade->GetZMCIndicatorLED(leds);
    facade->GetZMCMessageLogDataCIM(entries, 0);
    facade->GetZMCAuditLogDataViaCIM(entries);
    const auto asked = server.Requests();
    for (std::size_t i = asked.size() - 3; i < asked.size(); ++i) {
      EXPECT_EQ(asked[i].nameSpace, nameSpace) << asked[i].className;
    }
  }
}

TEST_F(BackendFrame, GenerationIsTwoWhenAnElementNameSaysSo) {
  const struct {
    const char* name;
    std::vector<std::vector<CimProperty>> instances;
    int code;
    int generation;
  } cases[] = {
      {"inside a longer text",
       {{{"Other", "string", "x"}}, {{"ElementName", "string", "BMC"}}, {{"ElementName", "string", "the ZMC2 image"}}},
       0,
       1},
      {"case counts", {{{"ElementName", "string", "zmc2"}}}, 15, 0},
      {"no instance", {}, 7, 0},
  };
  const auto facade = Facade();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    std::string instances;
    for (const auto& properties : c.instances) {
      instances += CimInstanceXml("QEL_SoftwareIdentity", properties);
    }
    server.OnClass("CIM_SoftwareIdentity", instances);
    auto generation = c.generation == 0 ? NFI::ZMC_GENERATION_2 : NFI::ZMC_GENERATION_1;
    EXPECT_EQ(facade->GetZMCGenerationType(generation), c.code);
    EXPECT_EQ(generation, c.generation);
  }
}

TEST_F(BackendFrame, OperationsThatCIMLacks) {
  const auto facade = Facade();
  std::vector<KelvarOptions::SoftwareIdentity_> identities(1);
  EXPECT_EQ(facade->GetNFWSoftwareIdentity(identities), 15);
  EXPECT_EQ(identities.size(), 1U);
  std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST> entries;
  EXPECT_EQ(facade->GetZMCMessageLogDataRedfish(entries), 12);
  EXPECT_THAT(Asked(), IsEmpty());
}

TEST_F(BackendFrame, FacadeMakesItForEveryCaseOfCIM) {
  for (const u32 connectionCase : {2U, 3U, 4U}) {
    NodeFirmwareInventory facade(Info(connectionCase));
    EXPECT_EQ(facade.GetConnectStatus(), 0);
    std::vector<KelvarNfw::ZMCMESSAGELOGDATA> entries;
    EXPECT_EQ(facade.GetZMCPlatformLogDataViaCIM(entries), 7) << "asked, and has none";
  }
}

}  // namespace
}  // namespace Kelvar::Test
