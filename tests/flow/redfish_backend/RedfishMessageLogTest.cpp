#include "redfish_backend/RedfishBackendFixture.h"

namespace Kelvar::Test {
namespace {

using Entries = std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>;
using testing::ElementsAre;
using testing::StartsWith;

class RedfishMessageLogTest : public RedfishBackendTest {
 protected:
  RedfishMessageLogTest() {
    Log::SetMinLogLevel(0);
    Collection("/redfish/v1/Systems", {"/s/1"});
    Json("/s/1", R"({"LogServices":{"@odata.id":"/s/1/LogServices"}})");
    Collection("/s/1/LogServices", {"/l/Other", "/l/StandardLog", "/l/AuditLog", "/l/StandardLog2"});
    Json("/l/StandardLog/Entries", R"({"Members":[]})");
  }
  ~RedfishMessageLogTest() override { Log::SetMinLogLevel(1); }

  Entries list{2};
};

TEST_F(RedfishMessageLogTest, WalksToTheStandardLog) {
  Json("/l/StandardLog/Entries",
       R"({"Members":[{"Created":"c","Name":"n","Message":"m","Severity":"Warning","MessageArgs":["one","",3],)"
       R"("Oem":{"Tavrik":{"Source":"s","EventSequenceNumber":7,"CommonEventID":"e","TavrikMessageID":"i",)"
       R"("AuxiliaryData":"a","Hidden":false}}},{"MessageArgs":["",""],"Oem":{"Tavrik":{"Hidden":"False"}}}]})");
  EXPECT_EQ(NodeFirmwareInventory(Target()).GetZMCMessageLogDataRedfish(list), 0);
  ASSERT_EQ(list.size(), 2u);
  const auto& first = list[0];
  EXPECT_EQ(first.RecordIndex, 0u);
  EXPECT_EQ(first.Source + first.EventSequenceNumber + first.CreationTimeStamp + first.EventID, "s7ce");
  EXPECT_EQ(first.ElementName + first.Message + first.MessageID + first.PerceivedSeverity, "nmiWarning");
  EXPECT_EQ(first.MessageArguments + first.AuxiliaryData + first.Reserved1, "one^3a");
  EXPECT_FALSE(first.Hidden);
  const auto& second = list[1];
  EXPECT_EQ(second.RecordIndex, 1u);
  EXPECT_EQ(second.Message + second.Source + second.PerceivedSeverity, "UnknownUnknownUnknown");
  EXPECT_EQ(second.MessageArguments, "");
  EXPECT_TRUE(second.Hidden);
  EXPECT_THAT(server.Targets(),
              ElementsAre("/redfish/v1/Systems", "/s/1", "/s/1/LogServices", "/l/StandardLog/Entries"));
}

TEST_F(RedfishMessageLogTest, TheLastSystemWithLogServicesCounts) {
  Collection("/redfish/v1/Systems", {"/s/1", "/s/2", "/s/3"});
  Json("/s/2", R"({"LogServices":[{},"x","/s/2/LogServices","/s/2/later/LogServices"]})");
  Json("/s/3", R"({"LogServices":{"@odata.id":"elsewhere"}})");
  Collection("/s/2/LogServices", {"/l/x-StandardLog-y/z"});
  Json("/l/x-StandardLog-y/z/Entries", R"({"Members":[{"MessageArgs":[]}]})");
  EXPECT_EQ(backend.GetZMCMessageLogData(list), 0);
  EXPECT_EQ(list.size(), 1u);
}

TEST_F(RedfishMessageLogTest, FailuresTellTheirStep) {
  struct Case {
    const char* target;
    const char* body;
    const char* line;  ///< null: none
  };
  const std::vector<Case> cases = {
      {"/redfish/v1/Systems", "[", "Failed to read url_StandardLog overview info with error is: "},
      {"/redfish/v1/Systems", R"({"Members":[]})", nullptr},
      {"/s/1", "{}", "Failed to read log_services_url overview info with error is: No such node (LogServices)"},
      {"/s/1", R"({"LogServices":{}})", nullptr},
      {"/s/1", R"({"LogServices":{"@odata.id":"//evil.example/LogServices"}})", nullptr},
      {"/s/1/LogServices", "{}", "Failed to read services_url_ overview info with error is: No such node (Members)"},
      {"/s/1/LogServices", R"({"Members":[{},{"@odata.id":"/l/Other"},{"@odata.id":"@x/StandardLog"}]})", nullptr},
      {"/l/StandardLog/Entries", "{}",
       "Failed to read services_url_ overview info with error is: No such node (Members)"},
      {"/l/StandardLog/Entries", R"({"Members":[{"MessageArgs":[]}})",
       "Failed to read services_url_ overview info with error is: <unspecified file>(1): expected ']' or ','"},
  };
  const std::map<std::string, std::string> good = {
      {"/redfish/v1/Systems", R"({"Members":[{"@odata.id":"/s/1"}]})"},
      {"/s/1", R"({"LogServices":{"@odata.id":"/s/1/LogServices"}})"},
      {"/s/1/LogServices", R"({"Members":[{"@odata.id":"/l/StandardLog"}]})"},
      {"/l/StandardLog/Entries", R"({"Members":[]})"},
  };
  for (const Case& one : cases) {
    Json(one.target, one.body);
    list.resize(1);
    const LogCapture log;
    EXPECT_EQ(backend.GetZMCMessageLogData(list), 10) << one.target << " " << one.body;
    EXPECT_TRUE(list.empty());
    if (one.line == nullptr) {
      EXPECT_TRUE(log.Texts(1).empty()) << one.body;
    } else {
      EXPECT_THAT(log.Texts(1), ElementsAre(StartsWith(one.line)));
    }
    Status(one.target, 401);
    EXPECT_EQ(backend.GetZMCMessageLogData(list), 13) << one.target;
    Json(one.target, good.at(one.target));
  }
}

TEST_F(RedfishMessageLogTest, AnEntryWithoutArgumentsEndsTheWalk) {
  Json("/l/StandardLog/Entries", R"({"Members":[{"Id":"1","MessageArgs":[]},{"Id":"2"},{"Id":"3","MessageArgs":[]}]})");
  const LogCapture log;
  EXPECT_EQ(backend.GetZMCMessageLogData(list), 10);
  EXPECT_EQ(list.size(), 1u);
  EXPECT_THAT(log.Texts(1),
              ElementsAre("Failed to read services_url_ overview info with error is: No such node (MessageArgs)"));
}

TEST_F(RedfishMessageLogTest, TheOtherLogsNeedNoArgumentsAndAskManagersToo) {
  NodeFirmwareInventory inventory(Target());
  Json("/l/AuditLog/Entries", R"({"Members":[{"Message":"audit"}]})");
  EXPECT_EQ(inventory.GetZMCAuditLogDataViaREST(list), 0);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].Message, "audit");

  EXPECT_EQ(inventory.GetZMCPlatformLogDataViaREST(list), 10) << "neither systems nor managers have it";
  EXPECT_TRUE(list.empty());
  Collection("/redfish/v1/Managers", {"/m/1"});
  Json("/m/1", R"({"LogServices":{"@odata.id":"/m/1/LogServices"}})");
  Collection("/m/1/LogServices", {"/m/PlatformLog", "/m/ActiveLog", "/m/MaintenanceLog"});
  Json("/m/PlatformLog/Entries", R"({"Members":[{"Message":"platform"}]})");
  Json("/m/ActiveLog/Entries", R"({"Members":[{"Message":"active","MessageArgs":["a","b"]}]})");
  Json("/m/MaintenanceLog/Entries", R"({"Members":[{},{"Message":"maintenance","Oem":{"Tavrik":{"Hidden":false}}}]})");
  EXPECT_EQ(inventory.GetZMCPlatformLogDataViaREST(list), 0);
  EXPECT_EQ(list.at(0).Message, "platform");
  Json("/s/1", "{}");  // a system without any log services
  EXPECT_EQ(inventory.GetZMCActiveEventsDataViaREST(list), 0);
  EXPECT_EQ(list.at(0).MessageArguments, "a^b");
  std::vector<MAINTLOGREDFISHDATA> maintenance(5);
  EXPECT_EQ(inventory.GetZMCMaintLogDataViaREST(maintenance), 0);
  ASSERT_EQ(maintenance.size(), 2u);
  EXPECT_EQ(maintenance[0].Message, "Unknown");
  EXPECT_TRUE(maintenance[0].Hidden);
  EXPECT_EQ(maintenance[1].Message, "maintenance");
  EXPECT_EQ(maintenance[1].RecordIndex, 1u);
  EXPECT_FALSE(maintenance[1].Hidden);
  Status("/redfish/v1/Systems", 401);
  EXPECT_EQ(inventory.GetZMCMaintLogDataViaREST(maintenance), 13);
}

}  // namespace
}  // namespace Kelvar::Test
