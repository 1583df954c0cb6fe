// Servers that are not service processors, or refuse: what the tool, a fleet, a probe and the exporter make of them,
// and how often each of them logs in.

#include <algorithm>
#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool/ToolRun.h"
#include "flow/tool_serve/ServeRun.h"
#include "support/ScriptedCimServer.h"
#include "support/ScriptedHttpServer.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* kPage = "<!DOCTYPE html><html><body>Welcome</body></html>";

HttpReply Refusal() {
  HttpReply reply(401, "{}");
  reply.headers.emplace_back("WWW-Authenticate", "Basic realm=\"x\"");
  return reply;
}

HttpReply HugeError() {
  HttpReply reply(500, "");
  reply.raw = "HTTP/1.1 500 no\r\nContent-Length: 60000000\r\n\r\n";
  reply.repeated = std::string(60'000, 'x');
  reply.repeatCount = 1000;
  return reply;
}

struct Case {
  const char* name;
  const char* scheme;
  std::function<HttpReply(const HttpRequest& request)> reply;
  int exitCode;
  const char* status;
  const char* sentence;  ///< of the tool
};

const Case kCases[] = {
    {"a server without anything", "redfish", [](const HttpRequest&) { return HttpReply(404, ""); }, 14, "unsupported",
     "is not a Redfish service: GET /redfish/v1/: HTTP 404"},
    {"a web page", "redfish", [](const HttpRequest&) { return HttpReply(kPage); }, 14, "unsupported",
     "is not a Redfish service: GET /redfish/v1/: HTTP 200 without RedfishVersion"},
    {"empty objects", "redfish", [](const HttpRequest&) { return HttpReply("{}"); }, 14, "unsupported",
     "is not a Redfish service"},
    {"a root without RedfishVersion", "redfish",
     [](const HttpRequest& request) { return HttpReply("{\"@odata.id\": \"" + request.target + "\"}"); }, 14,
     "unsupported", "is not a Redfish service: GET /redfish/v1/: HTTP 200 without RedfishVersion"},
    {"one that refuses", "redfish", [](const HttpRequest&) { return Refusal(); }, 11, "login_refused",
     "the login was refused"},
    {"one with huge errors", "redfish", [](const HttpRequest&) { return HugeError(); }, 13, "bad_data", "HTTP 500"},
    {"a server without anything", "cim+http", [](const HttpRequest&) { return HttpReply(404, ""); }, 14, "unsupported",
     "is not a CIM service: "},
    {"a web page", "cim+http", [](const HttpRequest&) { return HttpReply(kPage); }, 14, "unsupported",
     "is not a CIM service: "},
    {"one that refuses", "cim+http", [](const HttpRequest&) { return Refusal(); }, 11, "login_refused",
     "the login was refused"},
};

class Foreign : public testing::TestWithParam<Case> {
 protected:
  Foreign() : server_({std::string(GetParam().scheme) == "redfish", false}) {
    server_.OnAnythingElse(GetParam().reply);
  }

  std::string Target(const char* user = "admin@") const {
    return std::string(GetParam().scheme) + "://" + user + "127.0.0.1:" + std::to_string(server_.Port());
  }

  /// Requests with an account since the last call.
  long Logins() {
    const auto requests = server_.Requests();
    const long all = std::count_if(requests.begin(), requests.end(),
                                   [](const HttpRequest& request) { return !request.Header("authorization").empty(); });
    return all - std::exchange(logins_, all);
  }

  /// At most one where it is refused.
  void ExpectNoSecondLogin() {
    if (GetParam().exitCode == 11) {
      EXPECT_LE(Logins(), 1);
    }
  }

  ScriptedHttpServer server_;

 private:
  long logins_ = 0;
};

TEST_P(Foreign, IsNeverRead) {
  const CommandResult result = RunOperation({Target()});
  EXPECT_EQ(result.exitCode, GetParam().exitCode) << result.output << result.errors;
  EXPECT_THAT(result.output + result.errors, HasSubstr(GetParam().sentence));
  EXPECT_LT(result.output.size() + result.errors.size(), 2000U);
  ExpectNoSecondLogin();
  for (const CommandResult& asked : {RunTool({Target(), "sensors", "network", "--format", "json"}),
                                     RunOperation({Target(), "sensors", "dns", "--format", "json"})}) {
    EXPECT_EQ(asked.exitCode, GetParam().exitCode) << asked.errors;
    EXPECT_THAT(asked.output, HasSubstr(std::string("\"status\": \"") + GetParam().status + "\""));
    EXPECT_THAT(asked.output, Not(HasSubstr("\"complete\"")));
  }
  EXPECT_TRUE(GetParam().exitCode != 11 || Logins() <= 2);
}

TEST_P(Foreign, HasNoInventory) {
  const CommandResult result = RunTool({Target()});
  EXPECT_EQ(result.exitCode, GetParam().exitCode) << result.output << result.errors;
  EXPECT_LT(result.output.size() + result.errors.size(), 2000U);
  ExpectNoSecondLogin();
}

TEST_P(Foreign, CountsAsFailedInAFleet) {
  const TemporaryFolder folder;
  const std::string list = folder.Write("list", Target() + "\n" + Target() + "\n");
  const std::string run = folder / "run";
  const CommandResult result = RunTool({"--targets", list, "--save", run});
  EXPECT_EQ(result.exitCode, 21);
  EXPECT_THAT(result.errors, HasSubstr(std::string(": 2 ") + GetParam().status + "\n"));
  ExpectNoSecondLogin();
  EXPECT_EQ(RunTool({"--targets", list, "--resume", run, "--save", run}).exitCode, 21) << "nothing was complete";
  ExpectNoSecondLogin();
}

TEST_P(Foreign, IsNoServiceToAProbe) {
  const CommandResult result = RunTool({"probe", "127.0.0.1:" + std::to_string(server_.Port()), "--user", "admin"});
  EXPECT_NE(result.exitCode, 0) << result.output;
  EXPECT_THAT(result.output, HasSubstr(Target("") + (GetParam().scheme[0] == 'c' ? "   no " : "    no ")));
  ExpectNoSecondLogin();
}

TEST_P(Foreign, IsDownToTheExporter) {
  const std::string scheme = GetParam().scheme;
  const ServeRun serve("[serve]\ntargets = [\"" + scheme + "://127.0.0.1:*\", \"" + scheme + "://localhost:*\"]\n" +
                       "[[account]]\nuser = \"admin\"\npassword = \"kelvar-demo\"\n[[module]]\nname = \"two\"\n");
  const int exitCode = GetParam().exitCode;
  const std::string word = exitCode == 14 ? "not_such_service" : exitCode == 13 ? "too_large" : GetParam().status;
  const std::string code = "\nkelvar_probe_cause{cause=\"" + word + "\"} 1\n";
  const std::string answer = serve.Get(ProbePath(Target("")));
  EXPECT_THAT(answer, HasSubstr("\nkelvar_up 0\n"));
  EXPECT_THAT(answer, HasSubstr(code));
  // the same place in another spelling, and another module
  const std::string other = scheme + "://localhost:" + std::to_string(server_.Port());
  EXPECT_THAT(serve.Get(ProbePath(other, "two")), HasSubstr(code));
  ExpectNoSecondLogin();
}

INSTANTIATE_TEST_SUITE_P(All, Foreign, testing::ValuesIn(kCases), [](const auto& one) {
  std::string name = std::string(one.param.scheme) + "_" + one.param.name;
  std::replace_if(
      name.begin(), name.end(), [](char letter) { return letter == ' ' || letter == '+'; }, '_');
  return name;
});

TEST(Deadline, EndsTheReadingOfOneTargetAndSaysWhatItWaitsFor) {
  ScriptedHttpServer server({true, false});
  server.OnAnythingElse([](const HttpRequest&) { return HttpReply(503, ""); });
  server.On("/redfish/v1/Chassis/1", HttpReply(R"({"Manufacturer": "Tavrik", "SerialNumber": "KV4A017"})"));
  const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(server.Port());
  const CommandResult result =
      RunCommand({"script", "-qec", std::string(kToolProgram) + " operation " + target + " dns identity --deadline 2.5",
                  "/dev/null"},
                 {"KELVAR_PASSWORD=kelvar-demo"});
  EXPECT_EQ(result.exitCode, 10) << result.output;
  EXPECT_THAT(
      result.output,
      testing::ContainsRegex(R"(kelvar: waiting for dns \(1 of 2\): HTTP 503, the service is starting, [0-2] s left)"));
  EXPECT_THAT(result.output, HasSubstr("kelvar: the deadline of 2.5 s passed while reading dns (1 of 2)"));
  const CommandResult inventory =
      RunCommand({"script", "-qec", std::string(kToolProgram) + " " + target + " --deadline 6", "/dev/null"},
                 {"KELVAR_PASSWORD=kelvar-demo"});
  EXPECT_EQ(inventory.exitCode, 10) << inventory.output;
  EXPECT_THAT(inventory.output, HasSubstr("kelvar: waiting for the inventory: HTTP 503, the service is starting, "));
}

TEST(Redirects, CarryNoAccountToAnotherHost) {
  ScriptedHttpServer other({true, false});
  ScriptedHttpServer plain;
  for (ScriptedHttpServer* const there : {&other, &plain}) {
    ScriptedHttpServer server({true, false});
    server.OnAnythingElse([there](const HttpRequest& request) {
      HttpReply reply(302, "");
      reply.headers.emplace_back("Location", there->Url(request.target));
      return reply;
    });
    there->OnAnythingElse([](const HttpRequest&) { return HttpReply(401, ""); });
    EXPECT_NE(RunOperation({"redfish://admin@127.0.0.1:" + std::to_string(server.Port()), "identity", "dns"}).exitCode,
              0);
    EXPECT_FALSE(server.Requests().front().Header("authorization").empty());
    for (const HttpRequest& request : there->Requests()) {
      EXPECT_EQ(request.Header("authorization"), "");
    }
  }
  EXPECT_EQ(plain.ConnectionCount(), 0);
  EXPECT_GT(other.ConnectionCount(), 0);
}

TEST(CimServers, ShowNoThresholdOfAnotherSensor) {
  ScriptedCimServer server;
  server.OnClass("CIM_NumericSensor",
                 CimInstanceXml("CIM_NumericSensor", {{"ElementName", "string", "with"},
                                                      {"CurrentReading", "sint32", "30"},
                                                      {"LowerThresholdCritical", "sint32", "17"}}) +
                     CimInstanceXml("CIM_NumericSensor",
                                    {{"ElementName", "string", "without"}, {"CurrentReading", "sint32", "5"}}));
  const CommandResult result =
      RunOperation({"cim+http://admin@127.0.0.1:" + std::to_string(server.Port()), "sensors", "--format", "csv"});
  EXPECT_THAT(result.output, HasSubstr(",1,LowerThresholdCritical,17\r\n"));
  EXPECT_THAT(result.output, HasSubstr(",2,LowerThresholdCritical,0\r\n"));
}

TEST(CimServers, WithoutAnyClassThatIsReadAreNotComplete) {
  ScriptedCimServer server;
  server.OnAnyClassReply(CimHttpReply(CimReplyXml("<ERROR CODE=\"5\" DESCRIPTION=\"none\"/>")));
  const std::string target = "cim+http://admin@127.0.0.1:" + std::to_string(server.Port());
  EXPECT_EQ(RunTool({target}).exitCode, 14);
  const CommandResult result = RunOperation({target});
  EXPECT_EQ(result.exitCode, 14) << result.output;
  EXPECT_THAT(result.errors, HasSubstr("has nothing that can be read over CIM"));
}

}  // namespace
}  // namespace Kelvar::Test
