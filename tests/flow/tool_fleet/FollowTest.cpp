// Log entries that are shown as they come, and readings that end by a signal.

#include <algorithm>
#include <csignal>
#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/ForeignIpmi.h"
#include "support/ScriptedHttpServer.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

std::string EntryText(const std::string& id, const std::string& severity) {
  return R"({"Id": ")" + id + R"(", "Created": "2026-03-20T08:0)" + id + R"(:00Z", "Severity": ")" + severity +
         R"(", "Message": "Event )" + id + R"(."})";
}

HttpReply Entries(const std::string& members) {
  return HttpReply(R"({"@odata.id": "/redfish/v1/Systems/1/LogServices/SEL/Entries", "Members": [)" + members + "]}");
}

/// A service with sessions and one log, whose answers come in order, one a reading.
void Script(ScriptedHttpServer& server, std::vector<HttpReply> readings) {
  const std::string sessions = "/redfish/v1/SessionService/Sessions";
  server.On("/redfish/v1/", HttpReply(R"({"RedfishVersion": "1.6.0", "Systems": {"@odata.id": "/redfish/v1/Systems"},
      "Links": {"Sessions": {"@odata.id": "/redfish/v1/SessionService/Sessions"}}})"));
  HttpReply opened(201, "{}");
  opened.headers = {{"X-Auth-Token", "t0"}, {"Location", sessions + "/1"}};
  server.On("POST " + sessions, opened);
  server.On("DELETE " + sessions + "/1", HttpReply(204, ""));
  server.On("/redfish/v1/Systems", HttpReply(R"({"Members": [{"@odata.id": "/redfish/v1/Systems/1"}]})"));
  server.On("/redfish/v1/Systems/1",
            HttpReply(R"({"Id": "1", "LogServices": {"@odata.id": "/redfish/v1/Systems/1/LogServices"}})"));
  server.On("/redfish/v1/Systems/1/LogServices",
            HttpReply(R"({"Members": [{"@odata.id": "/redfish/v1/Systems/1/LogServices/SEL"}]})"));
  server.On("/redfish/v1/Systems/1/LogServices/SEL",
            HttpReply(R"({"Id": "SEL", "Entries": {"@odata.id": "/redfish/v1/Systems/1/LogServices/SEL/Entries"}})"));
  server.On("/redfish/v1/Systems/1/LogServices/SEL/Entries", std::move(readings));
}

std::ptrdiff_t CountOf(const ScriptedHttpServer& server, const std::string& method) {
  const auto requests = server.Requests();
  return std::count_if(requests.begin(), requests.end(), [&](const auto& one) { return one.method == method; });
}

TEST(Follow, ShowsNewEntriesUntilInterruptedAndClosesItsSessions) {
  ScriptedHttpServer server({.tls = true});
  const std::string old = EntryText("1", "Critical") + "," + EntryText("2", "OK");
  Script(server, {Entries(old), HttpReply(503, "{}"), Entries(old + "," + EntryText("3", "OK")),
                  Entries(old + "," + EntryText("3", "OK") + "," + EntryText("4", "Warning"))});
  const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(server.Port());
  int output[2];
  ASSERT_EQ(pipe(output), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(output[1], STDOUT_FILENO);
    close(output[0]);
    close(output[1]);
    setenv("KELVAR_PASSWORD", "kelvar-demo", 1);
    execl("/usr/bin/timeout", "timeout", "--foreground", "60", kToolProgram, target.c_str(), "logs", "--follow",
          "--interval", "1", "--severity", "warning", "--auth", "session", "-q", nullptr);
    _exit(127);
  }
  close(output[1]);
  FILE* const lines = fdopen(output[0], "r");
  char line[256] = "";
  EXPECT_NE(std::fgets(line, sizeof line, lines), nullptr);
  EXPECT_STREQ(line, "2026-03-20 08:01:00  critical  Event 1.  (Systems/1/LogServices/SEL)\n");
  EXPECT_NE(std::fgets(line, sizeof line, lines), nullptr);
  EXPECT_STREQ(line, "2026-03-20 08:04:00  warning   Event 4.  (Systems/1/LogServices/SEL)\n");
  kill(child, SIGINT);
  EXPECT_EQ(std::fgets(line, sizeof line, lines), nullptr);
  std::fclose(lines);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 128 + SIGINT) << status;
  EXPECT_EQ(CountOf(server, "POST"), 2);  // of the first reading, and of all later ones
  EXPECT_EQ(CountOf(server, "POST"), CountOf(server, "DELETE"));
}

/// Interrupts the tool while the log is asked for the last of `times` times.
void InterruptAt(std::ptrdiff_t times, const ScriptedHttpServer& server, std::vector<std::string> words) {
  words.insert(words.begin(), kToolProgram);
  words.insert(words.end(), {"logs", "--auth", "session", "-q"});
  const pid_t child = fork();
  if (child == 0) {
    setenv("KELVAR_PASSWORD", "kelvar-demo", 1);
    std::vector<char*> arguments(words.size() + 1);
    std::transform(words.begin(), words.end(), arguments.begin(), [](std::string& word) { return word.data(); });
    execv(kToolProgram, arguments.data());
    _exit(127);
  }
  const auto asked = [&server] {
    const auto targets = server.Targets();
    return std::count_if(targets.begin(), targets.end(),
                         [](const std::string& one) { return one.find("/SEL/Entries") != std::string::npos; });
  };
  for (int tries = 0; tries < 6000 && asked() < times; ++tries) {
    usleep(10'000);
  }
  kill(child, SIGINT);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
}

TEST(Interrupted, ClosesItsSession) {
  HttpReply slow = Entries(EntryText("1", "OK"));
  slow.delay = std::chrono::minutes(2);
  for (const std::string how : {"one", "many", "follow"}) {
    SCOPED_TRACE(how);
    const bool follow = how == "follow";
    ScriptedHttpServer server({.tls = true});
    Script(server, follow ? std::vector{Entries(EntryText("1", "OK")), slow} : std::vector{slow});
    const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(server.Port());
    const TemporaryFolder folder;
    const std::string list = folder.Write("list", target + "\n");
    InterruptAt(follow ? 2 : 1, server,
                how == "many" ? std::vector<std::string>{"--targets", list}
                : follow      ? std::vector<std::string>{target, "--follow", "--interval", "1"}
                              : std::vector<std::string>{target});
    EXPECT_EQ(CountOf(server, "POST"), follow ? 2 : 1);
    EXPECT_EQ(CountOf(server, "DELETE"), CountOf(server, "POST"));
  }
}

TEST(Interrupted, ClosesTheSessionOfAnOperation) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const UdpRelay relay(sim.Port("ipmi"), MakeWeather({.service = std::chrono::milliseconds(20)}));
  const std::string target = "ipmi://admin@127.0.0.1:" + relay.PortText();
  const pid_t child = fork();
  if (child == 0) {
    setenv("KELVAR_PASSWORD", "kelvar-demo", 1);
    execl(kToolProgram, kToolProgram, "operation", target.c_str(), "-q", nullptr);
    _exit(127);
  }
  constexpr std::size_t kInSession = 8;
  for (int tries = 0; tries < 6000 && relay.FromClient() < kInSession; ++tries) {
    usleep(10'000);
  }
  kill(child, SIGINT);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  EXPECT_THAT(RunIpmiTool(sim, {"session", "info", "active"}).output, HasSubstr("active sessions               : 1\n"));
}

TEST(Follow, EndsWhenNobodyReadsAnyMore) {
  const CommandResult result =
      RunCommand({"bash", "-c", "set -o pipefail; timeout 60 \"$0\" demo: logs --follow | head -n 1", kToolProgram});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, HasSubstr("BMC-Backup has been updated"));
  EXPECT_EQ(result.errors, "");
}

TEST(Follow, RefusesWhatItCannotShow) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"demo:", "sensors", "--follow"},
                                                {"demo:", "--follow", "--format", "csv"},
                                                {"--targets", "/dev/null", "--follow"},
                                                {"demo:", "--interval", "1"}}) {
    EXPECT_EQ(RunTool(words).exitCode, 2);
  }
}

}  // namespace
}  // namespace Kelvar::Test
