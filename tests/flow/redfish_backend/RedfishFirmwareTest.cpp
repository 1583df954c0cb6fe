#include "redfish_backend/RedfishBackendFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarNfw::NODEFIRMWAREBUILDID;
using testing::ElementsAre;

constexpr const char* kExpanded = "/redfish/v1/UpdateService/FirmwareInventory?$expand=.($levels=1)";
constexpr const char* kCollection = "/redfish/v1/UpdateService/FirmwareInventory/";

class RedfishFirmwareTest : public RedfishBackendTest {};

TEST_F(RedfishFirmwareTest, BuildIdsComeFromSevenIdentities) {
  std::string members;
  for (const char* id :
       {"BMC-Primary", "BMC-Backup", "UEFI", "Brenn", "BrennWindowsDriver", "BrennLinuxDriver", "Sorel"}) {
    members += (members.empty() ? "" : ",") + ("{\"Id\":\"" + std::string(id) + "\",\"Version\":\"v-" + id +
                                               "\",\"ReleaseDate\":\"2026-03-14T00:00:00Z\"}");
  }
  Json(kExpanded, "{\"Members\":[" + members + "]}");
  NodeFirmwareInventory inventory(Target());
  std::vector<NODEFIRMWAREBUILDID> list;
  EXPECT_EQ(inventory.GetNodeFirmwareBuildID(list), 0);
  EXPECT_EQ(inventory.GetNodeFirmwareBuildID(list), 0);
  ASSERT_EQ(list.size(), 2u);
  const NODEFIRMWAREBUILDID& record = list[1];
  EXPECT_STREQ(record.BMCPVQBuildID, "v-BMC-Primary");
  EXPECT_STREQ(record.BMCPVQBackUpBuildID, "v-BMC-Backup");
  EXPECT_STREQ(record.uEFIBuildID, "v-UEFI");
  EXPECT_STREQ(record.WRBpBuildID, "v-Brenn");
  EXPECT_STREQ(record.DRVWNpBuildID, "v-BrennWindowsDriver");
  EXPECT_STREQ(record.DRVLNpBuildID, "v-BrennLinuxDriver");
  EXPECT_STREQ(record.SorelBuildID, "v-Sorel");
  for (const char* date :
       {record.BMCPVQBuildDate, record.BMCPVQBackUpBuildDate, record.uEFIBuildDate, record.WRBpBuildIDDate,
        record.DRVWNpBuildIDDate, record.DRVLNpBuildIDDate, record.SorelBuildIDDate}) {
    EXPECT_STREQ(date, "2026-03-14");
  }
  EXPECT_STREQ(record.BMCBuildID, "");
  EXPECT_STREQ(record.QDGpBuildID, "");
  EXPECT_EQ(server.Requests().size(), 1u) << "the second call finds everything in the cache";
}

TEST_F(RedfishFirmwareTest, TheCacheIsFilledOverTheConnectionOfTheOtherOperations) {
  Collection("/redfish/v1/Systems", {});
  Json(kExpanded, R"({"Members":[{"Id":"UEFI","Version":"1"}]})");
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  backend.GetNodeFirmwareSystemVPD(vpd);
  std::vector<NODEFIRMWAREBUILDID> list;
  EXPECT_EQ(backend.GetNodeFirmwareBuildID(list), 0);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_STREQ(list[0].uEFIBuildID, "1");
  backend.GetNodeFirmwareSystemVPD(vpd);
  const auto requests = server.Requests();
  ASSERT_EQ(requests.size(), 3u);
  for (const HttpRequest& request : requests) {
    EXPECT_EQ(request.connection, 1) << request.target;
    EXPECT_EQ(request.headers, requests[0].headers) << request.target;
  }
}

TEST_F(RedfishFirmwareTest, ThePairIsChosenByTheIdThatCameBack) {
  Json(std::string(kCollection) + "Brenn",
       R"({"Id":"BMC-Backup","Version":"a version that is longer than its field","ReleaseDate":"20260314"})");
  Json(std::string(kCollection) + "UEFI", R"({"Id":"Other","Version":"dropped"})");
  std::vector<NODEFIRMWAREBUILDID> list;
  const LogCapture log;
  EXPECT_EQ(backend.GetNodeFirmwareBuildID(list), 0);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_STREQ(list[0].BMCPVQBackUpBuildID, "a version that is longe");
  EXPECT_STREQ(list[0].BMCPVQBackUpBuildDate, "20260314");
  EXPECT_STREQ(list[0].WRBpBuildID, "");
  EXPECT_STREQ(list[0].uEFIBuildID, "");
  EXPECT_TRUE(log.Has(4, "Get Sorelsoftware identity info error."));
  EXPECT_TRUE(log.Has(4, "Begin to get Brennsoftware identity info from cache."));
  EXPECT_TRUE(log.Has(3, "Id: BMC-Backup"));
}

TEST_F(RedfishFirmwareTest, ADeadTargetGivesAnEmptyRecord) {
  Log::SetMinLogLevel(0);
  server.FailConnections(ConnectionFault::CloseAtOnce, 100);
  std::vector<NODEFIRMWAREBUILDID> list;
  EXPECT_EQ(backend.GetNodeFirmwareBuildID(list), 0);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_STREQ(list[0].BMCPVQBuildID, "");
  EXPECT_EQ(server.ConnectionCount(), 1);
  Log::SetMinLogLevel(1);
}

TEST_F(RedfishFirmwareTest, FirmwareReadsTheWholeInventory) {
  Json(kExpanded, R"({"Members":[)"
                  R"({"@odata.id":"/f/UEFI","Id":"UEFI","Name":"UEFI firmware","SoftwareId":"S","Version":"1",)"
                  R"("RelatedItem":[{"@odata.id":"/a"},{},{"@odata.id":"/b"}]},)"
                  R"({"Id":"NoVersion","Name":"n","SoftwareId":"s"},)"
                  R"({"Id":"Twice","Name":"first","SoftwareId":"s","Version":"1"},)"
                  R"({"Id":"Twice","Name":"second","SoftwareId":"s","Version":null},)"
                  R"("text"]})");
  std::map<std::string, KelvarOptions::SoftwareIdentity_> identities = {{"Kept", {}}};
  const LogCapture log;
  EXPECT_TRUE(backend.GetFirmware(identities));
  ASSERT_EQ(identities.size(), 3u);
  const auto& uefi = identities["UEFI"];
  EXPECT_EQ(uefi.Name, "UEFI firmware");
  EXPECT_EQ(uefi.SoftwareID + uefi.VersionString + uefi.Classifications + uefi.IsPLDMUpdateSupported, "S1100");
  EXPECT_EQ(uefi.InstanceID, "");
  EXPECT_THAT(uefi.RelatedItems, ElementsAre("/a", "/b"));
  EXPECT_EQ(identities["Twice"].Name, "second");
  EXPECT_EQ(identities["Twice"].VersionString, "null");
  EXPECT_TRUE(identities["Twice"].RelatedItems.empty());
  EXPECT_THAT(log.Texts(2), ElementsAre("Invalid data", "no RelatedItem", "no RelatedItem", "Invalid data"));
  EXPECT_EQ(server.Requests().size(), 1u);
}

TEST_F(RedfishFirmwareTest, FirmwareTellsWhatFailed) {
  std::map<std::string, KelvarOptions::SoftwareIdentity_> identities;
  const LogCapture log;
  Status(kExpanded, 404);
  EXPECT_FALSE(backend.GetFirmware(identities));
  EXPECT_TRUE(log.Has(1, "Failed to get info from url" + server.Url(kExpanded) +
                             ", curlCode: 0, httpCode: 404, body:\nerror document"));
  Json(kExpanded, "{}");
  EXPECT_FALSE(backend.GetFirmware(identities));
  EXPECT_TRUE(log.Has(1, "Failed to read  overview info with error is: No such node (Members)"));
  Json(kExpanded, "{");
  EXPECT_FALSE(backend.GetFirmware(identities));
  EXPECT_TRUE(log.Has(1, "Failed to read  overview info with error is: <unspecified file>(1): expected key string"));
  Json(kExpanded, R"({"Members":[]})");
  EXPECT_TRUE(backend.GetFirmware(identities));
  EXPECT_TRUE(identities.empty());
}

}  // namespace
}  // namespace Kelvar::Test
