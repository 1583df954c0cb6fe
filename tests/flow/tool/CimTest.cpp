// The tool against the simulator's CIM side, alone and beside Redfish.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/ScriptedCimServer.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

struct Case {
  const char* scheme;
  const char* port;  ///< as the simulator announces it
  const char* query;
  Words what;
  Words output;  ///< parts of standard output
};

class OverCim : public testing::TestWithParam<Case> {};

TEST_P(OverCim, PrintsWhatTheMachineHas) {
  const Case& parameters = GetParam();
  const BmcSim sim("full", {"--serve", parameters.port});
  Words words{parameters.scheme + std::string("://admin@127.0.0.1:") + std::to_string(sim.Port(parameters.port)) +
              parameters.query};
  words.insert(words.end(), parameters.what.begin(), parameters.what.end());
  const CommandResult result = RunOperation(words);
  EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
  for (const std::string& text : parameters.output) {
    EXPECT_THAT(result.output, HasSubstr(text));
  }
}

const Case kCases[] = {
    {"cim+http", "cim", "", {"firmware", "generation"}, {"QDGpBuildID            QDG112C-4.07", "Generation  2"}},
    {"cim+http", "cim", "", {"components", "leds"}, {"PCI Riser 2 ", "Identify       Blinking         Off"}},
    {"cim+https",
     "cim-https",
     "",
     {"identity", "sensors"},
     {"Kestrel RT140", "System 12V           12.14           Volts"}},
    {"cim+http",
     "cim",
     "",
     {"log", "audit-log", "platform-log"},
     {"Degraded/Warning", "5 login failures", "platform-log\n"}},
    {"cim+http", "cim", "", {"dns", "ip", "static-ip", "snmp"}, {"192.0.2.53,192.0.2.54", "fe80::5ef3", "datacentre"}},
    {"esxi+http", "cim", "?zmc=1", {"system"}, {"MachineType   7K40", "SerialNumber  KV4A017"}},
    {"omc+http", "cim", "", {"system"}, {"SerialNumber  KV4A017"}},
};

INSTANTIATE_TEST_SUITE_P(All, OverCim, testing::ValuesIn(kCases));

TEST(CimFailures, TellARefusedLogin) {
  const BmcSim sim("full", {"--serve", "cim"});
  const std::string target = "cim+http://admin@127.0.0.1:" + std::to_string(sim.Port("cim"));
  for (const Words& what : {Words{}, {"firmware"}, {"generation"}}) {
    Words words{target};
    words.insert(words.end(), what.begin(), what.end());
    EXPECT_EQ(RunOperation(words, {"KELVAR_PASSWORD=wrong"}).exitCode, 11) << words.back();
  }
}

TEST(CimFailures, TellWhatTheServerAnswered) {
  ScriptedCimServer server;
  HttpReply closed;
  closed.raw = " ";
  closed.cutAfter = 0;
  server.OnClassReply("CIM_IndicatorLED", closed);
  server.OnClassReply("QEL_Chassis", HttpReply(404, ""));
  server.OnClassReply("CIM_SoftwareIdentity", HttpReply(500, ""));
  server.OnClassReply("CIM_NumericSensor", CimHttpReply("<html>"));
  server.OnClassError("CIM_DNSSettingData", 5, "Class not found");
  server.OnClassError("CIM_IPProtocolEndpoint", 2, "go away");
  server.OnClassError("CIM_StaticIPAssignmentSettingData", 3, "no such namespace");
  const std::string target = "cim+http://admin@127.0.0.1:" + std::to_string(server.Port());
  const struct {
    const char* what;
    int exitCode;
    const char* note;
  } failures[] = {
      {"leds", 10, "leds: failed: the target cannot be reached (enumerate CIM_IndicatorLED: Connection closed by CIM"},
      {"system", 14, "is not a CIM service: HTTP Error (404"},
      {"generation", 13,
       "failed: the target sent an invalid response (enumerate CIM_SoftwareIdentity: HTTP Error (500"},
      {"sensors", 14, "is not a CIM service: "},
      {"dns", 14, "dns: failed: the target does not offer it (enumerate CIM_DNSSettingData: CIM status 5: Class not"},
      {"ip", 11, "ip: failed: the login was refused (enumerate CIM_IPProtocolEndpoint: CIM status 2: go away)\n"},
      {"static-ip", 14, "static-ip: failed: the target does not offer it ("},
  };
  for (const auto& failure : failures) {
    const CommandResult result = RunOperation({target, failure.what});
    EXPECT_EQ(result.exitCode, failure.exitCode) << failure.what;
    EXPECT_THAT(result.output + result.errors, HasSubstr(failure.note));
  }
}

TEST(TwoBackends, ListTheComponentsOverCim) {
  const BmcSim sim("full", {"--serve", "cim,redfish"});
  const std::string redfish = "redfish://admin@127.0.0.1:" + std::to_string(sim.Port("redfish"));
  const std::string cim = "cim+http://admin@127.0.0.1:" + std::to_string(sim.Port("cim"));
  const CommandResult result = RunOperation({redfish, "components", "--with-cim", cim});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("system board 1 "));
  EXPECT_THAT(result.output, HasSubstr("PCI Riser 1 "));
}

}  // namespace
}  // namespace Kelvar::Test
