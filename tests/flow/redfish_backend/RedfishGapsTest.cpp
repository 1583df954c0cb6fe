#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/Diagnostics.h>

#include "flow/redfish_backend/RedfishBackendFixture.h"
#include "module/nfw/inventory/redfish/LogmgrRedfish.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class RedfishGapsTest : public RedfishBackendTest {
 protected:
  /// The gaps that an operation leaves, as "kind cause what: detail".
  template <typename Operation>
  std::vector<std::string> GapsOf(Operation operation) {
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    operation();
    std::vector<std::string> gaps;
    for (const DiagnosticGap& gap : diagnostics.Gaps()) {
      gaps.push_back(std::string(NameOf(gap.kind)) + " " + NameOf(gap.cause) + " " + gap.what + ": " + gap.detail);
    }
    return gaps;
  }

  std::vector<std::string> SensorGaps() {
    return GapsOf([&] { backend.GetZMCNumericSensors(sensors); });
  }

  std::vector<KelvarNfw::NUMERICSENSORS> sensors;
};

constexpr const char* kSensors = "/redfish/v1/Chassis/1/Sensors?$expand=.($levels=1)";
constexpr const char* kOemSensors = "/redfish/v1/Chassis/1/Oem/Tavrik/Sensors?$expand=.($levels=1)";

TEST_F(RedfishGapsTest, SensorsThatAreLinksOrUnusable) {
  Collection(kSensors, {"/a", "/b"});
  EXPECT_THAT(SensorGaps(), ElementsAre("links_only none /redfish/v1/Chassis/1/Sensors: members are links: the target "
                                        "did not expand the collection"));
  Json(kSensors, R"({"Members":[{"Id":"1"}],"Members@odata.nextLink":"/next"})");
  EXPECT_THAT(SensorGaps(), ElementsAre("truncated none /redfish/v1/Chassis/1/Sensors: further pages are not read"));
  Json(kSensors, "<html>");
  EXPECT_THAT(SensorGaps(), ElementsAre("unusable bad_data /redfish/v1/Chassis/1/Sensors: no JSON"));
  Status(kSensors, 404);
  Json(kOemSensors, R"({"Members":[{"ThresholdLowerCritical":1.5}]})");
  EXPECT_THAT(SensorGaps(), IsEmpty()) << "the second collection serves for the first";
  Status(kOemSensors, 401);
  EXPECT_THAT(SensorGaps(), ElementsAre(std::string("failure login_refused ") + kOemSensors + ": HTTP 401"));
}

TEST_F(RedfishGapsTest, LogsThatAreMissingOrLinks) {
  LogmgrRedfish log(Target());
  const auto gaps = [&] {
    return GapsOf([&] {
      std::vector<MAINTLOGREDFISHDATA> entries;
      log.GetMaintenanceLog(entries);
    });
  };
  Collection("/redfish/v1/Systems", {"/s"});
  Json("/s", R"({"LogServices":{"@odata.id":"/s/LogServices"}})");
  Collection("/s/LogServices", {"/s/LogServices/MaintenanceLog", "evil@host"});
  Collection("/s/LogServices/MaintenanceLog/Entries", {"/1", "/2"});
  EXPECT_THAT(gaps(), ElementsAre(StartsWith("links_only none /s/LogServices/MaintenanceLog/Entries: ")));
  Collection("/s/LogServices", {});
  Collection("/redfish/v1/Managers", {});
  EXPECT_THAT(gaps(), ElementsAre("failure not_offered MaintenanceLog: no such log"));
  Collection("/redfish/v1/Systems", {"//other.host"});
  EXPECT_THAT(gaps(), ElementsAre("unusable bad_data /redfish/v1/Systems: a link that is not a path on the target",
                                  "failure not_offered MaintenanceLog: no such log"));
}

TEST_F(RedfishGapsTest, SourcesOfComponentsThatFail) {
  Status("/redfish/v1/Chassis/1/Power", 500);
  Json("/redfish/v1/Chassis/1", "[]");
  Json("/redfish/v1/Chassis", "{}");
  std::vector<OtherSystemVPD> components;
  EXPECT_THAT(GapsOf([&] { backend.GetNodeOtherSystemVPD(components); }),
              ElementsAre("failure bad_data /redfish/v1/Chassis/1/Power: HTTP 500",
                          "unusable bad_data /redfish/v1/Chassis/1: no JSON object",
                          StartsWith("unusable bad_data /redfish/v1/Chassis: No such node")));
}

TEST_F(RedfishGapsTest, AnEmptyFirmwareRecordIsOne) {
  Json(std::string("/redfish/v1/UpdateService/FirmwareInventory") + "?$expand=.($levels=1)",
       R"({"Members":[{"Id":"Other"}]})");
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> records;
  EXPECT_THAT(
      GapsOf([&] { backend.GetNodeFirmwareBuildID(records); }),
      ElementsAre("failure not_offered /redfish/v1/UpdateService/FirmwareInventory: none of the firmware images "
                  "that this operation knows"));
}

}  // namespace
}  // namespace Kelvar::Test
