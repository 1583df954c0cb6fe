#include "redfish_backend/RedfishBackendFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarAgentless::ComputerSystem;
using KelvarNfw::NODEFIRMWARESYSTEMVPD;

class RedfishIdentityTest : public RedfishBackendTest {
 protected:
  void System(const std::string& body) {
    Collection("/redfish/v1/Systems", {"/s/1", "/s/2"});
    Json("/s/1", body);
  }
};

TEST_F(RedfishIdentityTest, SystemVpdReadsTheFirstSystem) {
  struct Case {
    const char* body;
    int code;
    const char* machineType;
    const char* serialNumber;
    const char* model;  ///< null: no model name
    const char* line = nullptr;
  };
  const std::vector<Case> cases = {
      {R"({"Model":"RT120 V2","SKU":"ABCD1234","SerialNumber":"S1234567"})", 0, "ABCD", "S1234567", "rt120-v2"},
      {R"({"Model":"RT120","SKU":"ABCD","SerialNumber":""})", 0, "ABCD", "", "RT120"},
      {R"({"Model":"R T 1 3 0","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", "RT130"},
      {R"({"Model":"RT130V2","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", "rt130-v2"},
      {R"({"Model":"RT140","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", "rt140"},
      {R"({"Model":"RT140 V2","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", "rt140-v2"},
      {R"({"Model":"AB650 V3","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", "ab650-v3"},
      {R"({"Model":"V2 RT120 V3","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", "rt120-v3"},
      {R"({"Model":"rt120","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", nullptr},
      {R"({"Model":"RT\t120","SKU":"ABCD","SerialNumber":"s"})", 0, "ABCD", "s", nullptr},
      {R"({"Model":"x","SKU":"ABCD","SerialNumber":"a serial number that is too long"})", 0, "ABCD",
       "a serial number that is too l", nullptr},
      {R"({"Model":"x","SKU":"ABC","SerialNumber":"s"})", 10, "ABC", "s", nullptr, "Invalid mt:ABC"},
      {R"({"Model":"AB V3","SKU":"ABCD","SerialNumber":"s"})", 10, "", "", nullptr,
       "Failed to read redfish chassis info with unknown error."},
      {R"({"Model":"RT120","SerialNumber":"s"})", 10, "", "", "RT120",
       "Failed to read redfish chassis info with error is: No such node (SKU)"},
      {R"({"SKU":"ABCD","SerialNumber":"s"})", 10, "", "", nullptr,
       "Failed to read redfish chassis info with error is: No such node (Model)"},
      {"no JSON", 10, "", "", nullptr,
       "Failed to read redfish chassis info with error is: <unspecified file>(1): expected 'null'"},
  };
  for (const Case& one : cases) {
    System(one.body);
    const LogCapture log;
    NODEFIRMWARESYSTEMVPD vpd{};
    EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), one.code) << one.body;
    EXPECT_STREQ(vpd.MachineType, one.machineType) << one.body;
    EXPECT_STREQ(vpd.SerialNumber, one.serialNumber) << one.body;
    EXPECT_STREQ(vpd.ModelName, one.model == nullptr ? "" : one.model) << one.body;
    EXPECT_EQ(vpd.HasModelName, one.model == nullptr ? 0 : 1) << one.body;
    EXPECT_EQ(log.Texts(1), one.line == nullptr ? std::vector<std::string>() : std::vector<std::string>{one.line});
  }
  EXPECT_THAT(server.Targets(), testing::Not(testing::Contains("/s/2")));
}

TEST_F(RedfishIdentityTest, SystemVpdKeepsWhatItDoesNotRead) {
  System(R"({"Model":"unknown","SKU":"ABCD","SerialNumber":"s"})");
  NODEFIRMWARESYSTEMVPD vpd{};
  vpd.HasModelName = 7;
  vpd.ModelName[0] = 'm';
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), 0);
  EXPECT_EQ(vpd.HasModelName, 7);
  EXPECT_STREQ(vpd.ModelName, "m");
}

TEST_F(RedfishIdentityTest, SystemVpdTellsWhereItFailed) {
  Log::SetMinLogLevel(0);
  NODEFIRMWARESYSTEMVPD vpd{};
  Status("/redfish/v1/Systems", 401);
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), 13);
  Json("/redfish/v1/Systems", "{\"Members\"");
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), 15);
  Json("/redfish/v1/Systems", "{\"Members\":[]}");
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), 10);
  Collection("/redfish/v1/Systems", {"/s/1"});
  Status("/s/1", 500);
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), 10);
  Status("/s/1", 401);
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(vpd), 13);
  Log::SetMinLogLevel(1);
}

TEST_F(RedfishIdentityTest, OemProductIsASecondSource) {
  const char* path = "/redfish/v1/Systems/Self/Oem/Tavrik/ProductInfo";
  NODEFIRMWARESYSTEMVPD vpd{};
  const LogCapture log;
  Json(path, R"({"MB":{"MachineTypeModel":"7K40CTO1WW","ComponentSN":"KV4A0017"}})");
  EXPECT_EQ(Access::OemProduct(backend, vpd), 0);
  EXPECT_STREQ(vpd.MachineType, "7K40");
  EXPECT_STREQ(vpd.SerialNumber, "KV4A0017");
  Json(path, R"({"MB":{"MachineTypeModel":"7K","ComponentSN":""}})");
  EXPECT_EQ(Access::OemProduct(backend, vpd), 0);
  EXPECT_STREQ(vpd.MachineType, "7K");
  Json(path, R"({"MB":{"MachineTypeModel":"7K41"}})");
  EXPECT_EQ(Access::OemProduct(backend, vpd), 10);
  EXPECT_STREQ(vpd.MachineType, "7K");
  EXPECT_TRUE(log.Has(1, "Failed to read redfish oem product info with error is: No such node (ComponentSN)"));
  Status(path, 401);
  EXPECT_EQ(Access::OemProduct(backend, vpd), 13);
}

TEST_F(RedfishIdentityTest, ComputerSystemTakesStringsAlone) {
  const char* path = "/redfish/v1/Chassis/1";
  ComputerSystem system;
  const LogCapture log;
  Json(path, R"({"SerialNumber":"s","Manufacturer":"m","Model":"","UUID":"u","Oem":{"Tavrik":{"ProductName":"p"}}})");
  system.Model = "former";
  system.Version = "kept";
  EXPECT_EQ(backend.GetHardwareInfoComputerSystem(system), 0);
  EXPECT_EQ(system.SerialNumber + system.Manufacturer + system.UUID + system.ProductName, "smup");
  EXPECT_EQ(system.Model, "");
  EXPECT_EQ(system.Version, "kept");
  EXPECT_TRUE(log.Has(4, "UUID=u"));
  EXPECT_TRUE(log.Has(4, "ProductName=p"));

  Json(path, R"({"SerialNumber":5,"Manufacturer":["x"],"UUID":null,"Oem":{"Tavrik":"text"}})");
  EXPECT_EQ(backend.GetHardwareInfoComputerSystem(system), 0);
  EXPECT_EQ(system.SerialNumber + system.Manufacturer + system.UUID + system.ProductName, "smup");

  for (const char* body : {"", "[]", "{\"UUID\":"}) {
    Json(path, body);
    EXPECT_EQ(backend.GetHardwareInfoComputerSystem(system), 10) << body;
  }
  EXPECT_TRUE(log.Texts(1).empty());
  Status(path, 401);
  EXPECT_EQ(backend.GetHardwareInfoComputerSystem(system), 13);
}

}  // namespace
}  // namespace Kelvar::Test
