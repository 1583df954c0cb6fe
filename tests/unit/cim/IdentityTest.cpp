#include "common/text/FixedText.h"
#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarAgentless::ComputerSystem;
using KelvarNfw::NODEFIRMWARESYSTEMVPD;
using testing::ElementsAre;

using Identity = CimFixture;

std::string Chassis(const std::vector<CimProperty>& properties, const std::string& className = "QEL_Chassis") {
  return CimInstanceXml(className, properties);
}

std::string Chassis(const std::string& model, const std::string& serial) {
  return Chassis({{"Model", "string", model}, {"SerialNumber", "string", serial}});
}

TEST_F(Identity, ComputerSystemComesFromTwoClasses) {
  server.OnClass("QEL_Chassis", Chassis({{"Manufacturer", "string", "Tavrik (TVK)"}, {"Version", "string", "07"}}) +
                                    Chassis({{"Version", "string", "second"}}));
  server.OnClass("QEL_ComputerSystem",
                 CimInstanceXml("QEL_ComputerSystem",
                                {{"IdentifyingDescriptions", "string[]",
                                  "[CIM:ProductName|CIM:GUID|CIM:GUID|CIM:Model:SerialNumber|cim:guid]"},
                                 {"OtherIdentifyingInfo", "string[]", "[Kestrel:x|first|6f1c|7K40:KV:17|no]"}}));
  ComputerSystem system;
  system.Reserved1 = "kept";
  EXPECT_EQ(Facade(Info(3))->GetHardwareInfoComputerSystem(system), 0);
  EXPECT_EQ(system.Manufacturer, "Tavrik ");
  EXPECT_EQ(system.Version, "07");
  EXPECT_EQ(system.ProductName, "Kestrel");
  EXPECT_EQ(system.UUID, "6f1c");
  EXPECT_EQ(system.Model, "7K40");
  EXPECT_EQ(system.SerialNumber, "KV:17");
  EXPECT_EQ(system.Reserved1, "kept");
  EXPECT_THAT(Asked(), ElementsAre("root/cimv2:QEL_Chassis", "root/cimv2:QEL_ComputerSystem"));
}

TEST_F(Identity, ComputerSystemToleratesWhatDoesNotPair) {
  const CimProperty descriptions{"IdentifyingDescriptions", "string[]", "[CIM:GUID|CIM:ProductName]"};
  const struct {
    const char* name;
    std::vector<CimProperty> properties;
    int code;
    std::string uuid;
    int pairLines;
  } cases[] = {
      {"uneven", {descriptions, {"OtherIdentifyingInfo", "string[]", "[6f1c]"}}, 0, "kept", 1},
      {"both empty",
       {{"IdentifyingDescriptions", "string[]", "[]"}, {"OtherIdentifyingInfo", "string[]", "[]"}},
       0,
       "kept",
       1},
      {"null", {descriptions, {"OtherIdentifyingInfo", "string[]", std::nullopt}}, 0, "kept", 1},
      {"one missing", {descriptions}, 0, "kept", 0},
      {"no array", {descriptions, {"OtherIdentifyingInfo", "string", "6f1c"}}, 0, "kept", 0},
      {"numbers", {descriptions, {"OtherIdentifyingInfo", "uint16[]", "[1|2]"}}, 9, "kept", 0},
      {"colon first", {descriptions, {"OtherIdentifyingInfo", "string[]", "[6f1c|:x]"}}, 0, "6f1c", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    LogCapture log;
    server.OnClass("QEL_ComputerSystem", CimInstanceXml("QEL_ComputerSystem", c.properties));
    ComputerSystem system;
    system.UUID = "kept";
    EXPECT_EQ(Facade()->GetHardwareInfoComputerSystem(system), c.code);
    EXPECT_EQ(system.UUID, c.uuid);
    EXPECT_EQ(system.ProductName, "");
    EXPECT_EQ(log.Has(4,
                      "QELComputerSystem Class IdentifyingDescriptions and OtherIdentifyingInfo array size don't "
                      "equal."),
              c.pairLines == 1);
  }
  server.OnClass("QEL_Chassis", Chassis({{"Manufacturer", "string", "(TVK) Tavrik"}}));
  ComputerSystem system;
  EXPECT_EQ(Facade()->GetHardwareInfoComputerSystem(system), 0);
  EXPECT_EQ(system.Manufacturer, "(TVK) Tavrik");
}

struct VpdCase {
  const char* name;
  std::string chassis;
  int code;
  std::string machineType, serialNumber;
  /// The same over ESXi.
  int esxiCode;
  std::string esxiMachineType, esxiSerialNumber;
};

TEST_F(Identity, SystemVpdAndItsPathForEsxi) {
  const VpdCase cases[] = {
      {"complete", Chassis("7K40", "KV17") + Chassis("x", "y"), 0, "7K40", "KV17", 0, "7K40", "KV17"},
      {"empty class", "", 8, "", "", 7, "", ""},
      {"no model property", Chassis({{"SerialNumber", "string", "KV17"}}), 8, "", "", 15, "", ""},
      {"no serial property", Chassis({{"Model", "string", "7K40"}}) + Chassis("x", "y"), 8, "7K40", "", 0, "x", "y"},
      {"empty model", Chassis("", "KV17"), 8, "", "KV17", 15, "", "KV17"},
      {"empty serial", Chassis("7K40", ""), 0, "7K40", "unknown", 0, "7K40", ""},
      {"empty serial, then complete", Chassis("7K40", "") + Chassis("x", "y"), 0, "x", "y", 0, "7K40", ""},
      {"empty serial, then empty model", Chassis("7K40", "") + Chassis("", ""), 0, "7K40", "unknown", 0, "7K40", ""},
      {"empty serial, then no model", Chassis("7K40", "") + Chassis(std::vector<CimProperty>{}), 8, "7K40", "unknown",
       0, "7K40", ""},
      {"too long", Chassis(std::string(30, 'm'), std::string(40, 's')), 0, std::string(19, 'm'), std::string(29, 's'),
       0, std::string(19, 'm'), std::string(29, 's')},
  };
  for (const VpdCase& c : cases) {
    SCOPED_TRACE(c.name);
    server.OnClass("QEL_Chassis", c.chassis);
    server.OnClass("OMC_Chassis", c.chassis);
    for (const u32 connectionCase : {2U, 3U, 4U}) {
      const bool esxi = connectionCase == 3;
      NODEFIRMWARESYSTEMVPD vpd{"before", "before", "before", 1};
      EXPECT_EQ(Facade(Info(connectionCase))->GetNodeFirmwareSystemVPD(vpd), esxi ? c.esxiCode : c.code);
      EXPECT_EQ(Text::FixedView(vpd.MachineType), esxi ? c.esxiMachineType : c.machineType);
      EXPECT_EQ(Text::FixedView(vpd.SerialNumber), esxi ? c.esxiSerialNumber : c.serialNumber);
      EXPECT_EQ(Text::FixedView(vpd.ModelName), "");
      EXPECT_EQ(vpd.HasModelName, 0);
    }
  }
  const auto asked = Asked();
  EXPECT_THAT(std::vector(asked.begin(), asked.begin() + 3),
              ElementsAre("root/cimv2:QEL_Chassis", "qel/zmc2/cimv2:QEL_Chassis", "root/cimv2:OMC_Chassis"));
}

TEST_F(Identity, SystemVpdTellsARefusedLoginOfAServiceProcessor) {
  HttpReply unauthorized;
  unauthorized.raw = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";
  const struct {
    u32 connectionCase;
    HttpReply reply;
    int code;
  } cases[] = {{2, unauthorized, 13}, {2, HttpError(500), 9}, {3, unauthorized, 1}, {4, unauthorized, 9}};
  for (const auto& c : cases) {
    LogCapture log;
    server.OnAnyClassReply(c.reply);
    NODEFIRMWARESYSTEMVPD vpd{"before", "before", "", 0};
    EXPECT_EQ(Facade(Info(c.connectionCase))->GetNodeFirmwareSystemVPD(vpd), c.code) << c.connectionCase;
    EXPECT_EQ(Text::FixedView(vpd.MachineType), "");
    if (c.code == 13) {
      EXPECT_TRUE(log.Has(4,
                          "enumerate root/cimv2  for QEL_Chassis in GetNodeFirmwareSystemVPD(), Catch other CIM "
                          "Exception : HTTP Error (401 Unauthorized)."));
    }
  }
}

}  // namespace
}  // namespace Kelvar::Test
