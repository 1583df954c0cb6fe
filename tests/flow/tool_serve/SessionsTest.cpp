// What a target sees of scrapes: sessions, logins and readings.

#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "flow/reader/RedfishTree.h"
#include "flow/tool_serve/ServeRun.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

/// A service with a list of firmware.
void PutFirmware(RedfishTree& tree) {
  tree.Put("/redfish/v1/", R"({"@odata.id":"/redfish/v1/","RedfishVersion":"1.0.0",)"
                           R"("Links":{"Sessions":{"@odata.id":"/redfish/v1/SessionService/Sessions"}},)"
                           R"("UpdateService":{"@odata.id":"/redfish/v1/UpdateService"}})");
  tree.Put("/redfish/v1/UpdateService", R"({"@odata.id":"/redfish/v1/UpdateService","Id":"UpdateService",)"
                                        R"("FirmwareInventory":{"@odata.id":"/redfish/v1/FI"}})");
  std::vector<std::string> members;
  for (int number = 0; number < 10; ++number) {
    members.push_back("/redfish/v1/FI/" + std::to_string(number));
    tree.Put(members.back(), R"({"@odata.id":")" + members.back() + R"(","Id":"F","Name":"F","Version":"1"})");
  }
  tree.PutCollection("/redfish/v1/FI", members);
}

std::string ConfigFor(const RedfishTree& tree) {
  const auto target = tree.Target();
  return "[serve]\ntargets = [\"redfish://127.0.0.1:*\", \"redfish://localhost:*\"]\n[[account]]\nuser = \"" +
         target.UserName + "\"\npassword = \"" + target.Password +
         "\"\n[[module]]\nname = \"firmware\"\nwhat = [\"firmware\"]\n";
}

std::string ProbeOf(const RedfishTree& tree) {
  return ProbePath("redfish://127.0.0.1:" + std::to_string(tree.Target().Port), "firmware");
}

TEST(Sessions, AreKeptBetweenScrapesAndClosedAtTheEnd) {
  RedfishTree tree;
  PutFirmware(tree);
  ServeRun serve(ConfigFor(tree));
  for (int scrape = 0; scrape < 3; ++scrape) {
    EXPECT_THAT(serve.Get(ProbeOf(tree)), HasSubstr("\nkelvar_probe_family_complete{family=\"firmware\"} 1\n"));
    EXPECT_EQ(tree.OpenSessions(), 1);
  }
  EXPECT_EQ(tree.Logins(), 1);
  EXPECT_THAT(serve.Get("/-/reload", {"-X", "POST"}), HasSubstr("HTTP/1.1 200"));
  for (int tries = 0; tries < 1000 && tree.OpenSessions() > 0; ++tries) {
    usleep(10'000);
  }
  EXPECT_EQ(tree.OpenSessions(), 0) << "the account may be another one now";
  EXPECT_THAT(serve.Get(ProbeOf(tree)), HasSubstr("\nkelvar_up 1\n"));
  EXPECT_EQ(tree.OpenSessions(), 1);
  EXPECT_EQ(serve.Stop(), 0);
  EXPECT_EQ(tree.OpenSessions(), 0);
}

TEST(Sessions, OfReadingsUnderWayAreClosedAtTheEnd) {
  RedfishTree tree;
  PutFirmware(tree);
  HttpReply slow("{}");
  slow.delay = std::chrono::seconds(30);
  tree.Reply("/redfish/v1/FI/9", slow);
  ServeRun serve(ConfigFor(tree));
  const std::string answer = serve.Get(ProbeOf(tree), {"-H", "X-Prometheus-Scrape-Timeout-Seconds: 3", "-m", "3"});
  EXPECT_EQ(tree.OpenSessions(), 1);
  EXPECT_EQ(serve.Stop(), 0);
  EXPECT_EQ(tree.OpenSessions(), 0);
}

double ValueOf(const std::string& answer, const std::string& series) {
  const std::size_t at = answer.find('\n' + series + ' ');
  return at == std::string::npos ? -1 : std::stod(answer.substr(at + series.size() + 2));
}

TEST(KnownData, AreServedWhileTheyAreFreshEnough) {
  RedfishTree tree;
  PutFirmware(tree);
  ServeRun serve(ConfigFor(tree) + "max-age = 600\n");
  EXPECT_THAT(serve.Get(ProbeOf(tree)), HasSubstr("\nkelvar_up 1\n"));
  const std::size_t requests = tree.Server().Requests().size();
  for (int scrape = 0; scrape < 3; ++scrape) {
    const std::string answer = serve.Get(ProbeOf(tree));
    EXPECT_THAT(answer, testing::AllOf(HasSubstr("\nkelvar_up 1\n"), HasSubstr("\nkelvar_firmware_info{")));
    EXPECT_GT(ValueOf(answer, "kelvar_probe_data_age_seconds"), 0);
  }
  EXPECT_EQ(tree.Server().Requests().size(), requests);
  EXPECT_EQ(serve.OwnMetric("kelvar_known_probes_total"), "3");
}

TEST(KnownData, OfSlowTargetsAreServedWithTheirAgeWhileNewOnesAreRead) {
  RedfishTree tree;
  PutFirmware(tree);
  HttpReply slow(R"({"@odata.id":"/redfish/v1/FI/9","Id":"F","Name":"Slow","Version":"1"})");
  slow.delay = std::chrono::seconds(2);
  tree.Reply("/redfish/v1/FI/9", slow);
  ServeRun serve(ConfigFor(tree) + "max-age = 3\n");
  const std::vector<std::string> inOneSecond{"-H", "X-Prometheus-Scrape-Timeout-Seconds: 1"};
  EXPECT_THAT(serve.Get(ProbeOf(tree), inOneSecond), HasSubstr("\nkelvar_probe_finished 0\n"));
  std::string answer;
  for (int tries = 0; tries < 20 && answer.find("\nkelvar_up 1\n") == std::string::npos; ++tries) {
    answer = serve.Get(ProbeOf(tree), inOneSecond);
  }
  EXPECT_THAT(answer, testing::AllOf(HasSubstr("\nkelvar_up 1\n"), HasSubstr("\nkelvar_firmware_info{name=\"Slow\"")));
  EXPECT_EQ(serve.OwnMetric("kelvar_readings_total"), "1");
  while (ValueOf(answer, "kelvar_probe_data_age_seconds") <= 3) {
    usleep(100'000);
    answer = serve.Get(ProbeOf(tree), inOneSecond);
  }
  EXPECT_THAT(answer, testing::AllOf(HasSubstr("\nkelvar_up 1\n"), HasSubstr("\nkelvar_probe_finished 1\n")));
  EXPECT_EQ(serve.OwnMetric("kelvar_readings_total"), "2");
  while (ValueOf(answer, "kelvar_probe_data_age_seconds") > 3) {
    usleep(100'000);
    answer = serve.Get(ProbeOf(tree), inOneSecond);
    EXPECT_THAT(answer, HasSubstr("\nkelvar_up 1\n"));
  }
  EXPECT_EQ(serve.Stop(), 0);
}

}  // namespace
}  // namespace Kelvar::Test
