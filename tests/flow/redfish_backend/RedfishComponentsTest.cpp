#include "redfish_backend/RedfishBackendFixture.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;

constexpr const char* kBoard = "/redfish/v1/Chassis/1";
constexpr const char* kPower = "/redfish/v1/Chassis/1/Power";

class RedfishComponentsTest : public RedfishBackendTest {
 protected:
  /// The records as "name|serial|part|manufacturer|fru".
  template <typename Component>
  static std::vector<std::string> Rows(const std::vector<Component>& list) {
    std::vector<std::string> rows;
    for (const Component& one : list) {
      rows.push_back(one.Name + "|" + one.SerialNumber + "|" + one.PartNumber + "|" + one.Manufacturer + "|" +
                     one.FruPartNumber);
    }
    return rows;
  }

  static std::string Chassis(const std::string& id) {
    return R"({"Id":")" + id + R"(","Name":"n)" + id + R"(","SKU":"k"})";
  }
};

TEST_F(RedfishComponentsTest, SystemBoardTakesStringsAndTellsEmptyOnes) {
  SystemBoardVPD board;
  board.SerialNumber = board.FruPartNumber = "kept";
  const LogCapture log;
  Json(kBoard, R"({"Name":"","PartNumber":"","Manufacturer":"m","Model":null,"Oem":5})");
  EXPECT_EQ(backend.GetSystemBoardVPD(board), 0);
  EXPECT_EQ(board.Name + board.PartNumber + board.Manufacturer + board.Model, "Unknownm");
  EXPECT_EQ(board.SerialNumber + board.FruPartNumber, "keptkept");
  Json(kBoard, R"({"Name":"b","Oem":{"Tavrik":{"FruPartNumber":"","SystemBoardSerialNumber":"s"}}})");
  EXPECT_EQ(backend.GetSystemBoardVPD(board), 0);
  EXPECT_EQ(board.Name + board.FruPartNumber + board.SerialNumber, "bUnknowns");
  EXPECT_TRUE(log.Has(3, "System Board Name: b"));
  EXPECT_TRUE(log.Has(4, "System Board FruPartNumber: Unknown"));
  EXPECT_TRUE(log.Texts(1).empty());
  Json(kBoard, "{");
  EXPECT_EQ(backend.GetSystemBoardVPD(board), 10);
  Status(kBoard, 401);
  EXPECT_EQ(backend.GetSystemBoardVPD(board), 13);
  EXPECT_THAT(log.Texts(1), ElementsAre("Rest Client response failure with curlCode 0, httpCode 401"));
}

TEST_F(RedfishComponentsTest, PowerSuppliesTellAbsentNullAndEmptyApart) {
  std::vector<PowerSupplyVPD> list;
  Json(kPower, R"({"PowerSupplies":[{"Name":"a","SerialNumber":null,"PartNumber":"","Manufacturer":"m",)"
               R"("Oem":{"Tavrik":{"FruPartNumber":null}}},5,null,)"
               R"({"Name":null,"SerialNumber":7,"Oem":{"Tavrik":{"FruPartNumber":[]}}},{"Oem":[]}]})");
  EXPECT_EQ(Access::PowerSupplies(backend, list), 0);
  EXPECT_THAT(Rows(list), ElementsAre("a|None|Unknown|m|None", "||||", "||||"));
  Log::SetMinLogLevel(0);
  struct Case {
    const char* body;
    int code;
  };
  for (const auto [body, code] : {Case{"{}", 0},
                                  {R"({"PowerSupplies":[]})", 0},
                                  {R"({"PowerSupplies":{}})", 10},
                                  {R"({"PowerSupplies":null})", 10},
                                  {"[]", 10},
                                  {"", 10}}) {
    list.clear();
    Json(kPower, body);
    EXPECT_EQ(Access::PowerSupplies(backend, list), code) << body;
    EXPECT_TRUE(list.empty());
  }
  Log::SetMinLogLevel(1);
}

TEST_F(RedfishComponentsTest, BackPlanesAreTheChassisFromThreeOn) {
  Collection("/redfish/v1/Chassis", {"/c/1", "/c/4", "/c/3", "/c/x", "/c/none"});
  Json("/c/1", Chassis("1"));
  Json("/c/4", Chassis("4"));
  Json("/c/3", R"({"Id":" 3 rear","Name":"","SerialNumber":"","PartNumber":"p","SKU":""})");
  Json("/c/x", Chassis("Backplane1"));
  Json("/c/none", R"({"Name":"no id"})");
  std::vector<BackPlaneVPD> list;
  const LogCapture log;
  EXPECT_EQ(backend.GetBackPlaneVPD(list), 0);
  EXPECT_THAT(Rows(list), ElementsAre("n4||||k", "|Unknown|p||Unknown", "no id||||"));
  EXPECT_TRUE(log.Has(3, "Chassis ID: 0"));
}

TEST_F(RedfishComponentsTest, BackPlanesThatFailLeaveTheirCode) {
  Log::SetMinLogLevel(0);
  Collection("/redfish/v1/Chassis", {"/c/3", "/c/4", "/c/5"});
  Json("/c/5", Chassis("5"));
  std::vector<BackPlaneVPD> list;
  Status("/c/3", 401);
  Json("/c/4", Chassis("4"));
  EXPECT_EQ(backend.GetBackPlaneVPD(list), 13);
  EXPECT_EQ(list.size(), 2u);
  Json("/c/4", "no JSON");
  list.clear();
  EXPECT_EQ(backend.GetBackPlaneVPD(list), 10);
  EXPECT_EQ(list.size(), 1u);

  Json("/c/3", Chassis("3"));
  for (const char* body : {R"({"Id":4})", R"({"Id":"4","SerialNumber":null})", R"({"Id":"4","Name":5})"}) {
    Json("/c/4", body);
    list.clear();
    const LogCapture log;
    EXPECT_EQ(backend.GetBackPlaneVPD(list), 10) << body;
    EXPECT_THAT(Rows(list), ElementsAre("n3||||k")) << "the walk ends there";
    EXPECT_TRUE(log.Has(1, "Failed to read drive backplane information."));
  }
  Collection("/redfish/v1/Chassis", {});
  EXPECT_EQ(backend.GetBackPlaneVPD(list), 10);
  Log::SetMinLogLevel(1);
}

TEST_F(RedfishComponentsTest, TheListJoinsItsSourcesAndLeavesGaps) {
  Log::SetMinLogLevel(0);
  std::vector<OtherSystemVPD> list;
  EXPECT_EQ(backend.GetNodeOtherSystemVPD(list), 0);
  EXPECT_TRUE(list.empty()) << "all three failed";
  Json(kPower, R"({"PowerSupplies":[{"Name":"PSU 1"},{"Name":"PSU 2"}]})");
  Json(kBoard, R"({"Name":"the board's own","PartNumber":"p"})");
  Collection("/redfish/v1/Chassis", {"/c/3", "/c/4"});
  Json("/c/4", Chassis("4"));
  EXPECT_EQ(backend.GetNodeOtherSystemVPD(list), 0);
  EXPECT_THAT(Rows(list), ElementsAre("PSU 1||||", "PSU 2||||", "system board||p||", "n4||||k"));
  Status(kBoard, 401);
  list.clear();
  EXPECT_EQ(backend.GetNodeOtherSystemVPD(list), 0);
  EXPECT_EQ(list.size(), 3u);
  Log::SetMinLogLevel(1);
}

}  // namespace
}  // namespace Kelvar::Test
