// One object with a CIM and a Redfish backend.

#include <gmock/gmock.h>

#include <kelvar/NodeFirmwareInventory.h>

#include "support/BmcSim.h"
#include "support/LogCapture.h"
#include "support/Loopback.h"
#include "support/ScriptedCimServer.h"

namespace Kelvar::Test {
namespace {

using NFI = NodeFirmwareInventory;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string Element(const std::string& name) {
  return CimInstanceXml("QEL_Card", {{"ElementName", "string", name}, {"SKU", "string", "over CIM"}});
}

std::vector<std::string> FruPartNumbers(NFI& facade, int code) {
  std::vector<OtherSystemVPD> list;
  EXPECT_EQ(facade.GetNodeOtherSystemVPD(list), code);
  std::vector<std::string> shown;
  for (const OtherSystemVPD& component : list) {
    shown.push_back(component.Name + ": " + component.FruPartNumber);
  }
  return shown;
}

TEST(TwoBackends, ComponentsOverCimTheBoardNumberAndAllElseOverRedfish) {
  const LogCapture log;
  BmcSim sim("full", {"--serve", "redfish"});
  ScriptedCimServer server;
  server.OnClass("CIM_PhysicalElement", Element("PCI Riser 1") + Element("system board 1") + Element("system board 2"));
  NFI facade(LoopbackInfo(KelvarConnection::CONNECTION_CASE_CIM_BMC, server.Port()),
             LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, sim.Port("redfish")));
  EXPECT_THAT(FruPartNumbers(facade, 0),
              ElementsAre("PCI Riser 1: over CIM", "system board 1: 01KV700", "system board 2: over CIM"));

  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> firmware;
  EXPECT_EQ(facade.GetNodeFirmwareBuildID(firmware), 0);
  EXPECT_THAT(firmware, SizeIs(1));
  std::vector<KelvarNfw::INDICATORLEDS> leds;
  EXPECT_EQ(facade.GetZMCIndicatorLED(leds), NFI::INVENTORY_NOT_IMPLEMENTED);
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> entries;
  EXPECT_EQ(facade.GetZMCAuditLogDataViaCIM(entries), 0) << "this form has no log objects";
  EXPECT_THAT(entries, IsEmpty());
  EXPECT_THAT(server.Requests(), SizeIs(1)) << "CIM is asked for the components alone";

  server.OnClass("CIM_PhysicalElement", "");
  EXPECT_THAT(FruPartNumbers(facade, NFI::INVENTORY_NO_INSTANCE), IsEmpty());
  sim.Stop();
  server.OnClass("CIM_PhysicalElement", Element("system board 1"));
  EXPECT_THAT(FruPartNumbers(facade, 0), ElementsAre("system board 1: over CIM")) << "without Redfish";
}

}  // namespace
}  // namespace Kelvar::Test
