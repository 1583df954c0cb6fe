// Telling what a host answers, and what a reading asked of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using Words = std::vector<std::string>;

Words Ports(const BmcSim& sim) {
  return {"probe",
          "127.0.0.1",
          "--timeout",
          "10",
          "--ipmi-port",
          std::to_string(sim.Port("ipmi")),
          "--cim-port",
          std::to_string(sim.Port("cim")),
          "--redfish-port",
          std::to_string(sim.Port("redfish")),
          "--cim-https-port",
          "9"};
}

TEST(Probe, TellsWhatAnswersAndWhyTheRestDoesNot) {
  const BmcSim sim("full");
  const CommandResult result = RunTool(Ports(sim), {});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("  yes  HTTP 200, Redfish 1."));
  EXPECT_THAT(result.output, HasSubstr("  no   port: Failed to connect to 127.0.0.1 port 9"));
  EXPECT_THAT(result.output, HasSubstr("  yes  IPMI 2.0\n"));
}

TEST(Probe, TriesAnAccount) {
  const BmcSim sim("full");
  Words words = Ports(sim);
  words.insert(words.end(), {"--user", "admin"});
  const CommandResult good = RunTool(words);
  EXPECT_EQ(good.exitCode, 0);
  EXPECT_THAT(good.output, HasSubstr(", logged in\n"));
  const CommandResult wrong = RunTool(words, {"KELVAR_PASSWORD=wrong"});
  EXPECT_EQ(wrong.exitCode, 11);
  EXPECT_THAT(wrong.output, HasSubstr("no   login: HTTP 200, Redfish 1.14.0, login refused\n"));
  EXPECT_THAT(wrong.output, HasSubstr("no   login: IPMI 2.0, login not tried: refused before\n"));
}

TEST(Probe, TellsTlsAndNamesApart) {
  const BmcSim sim("full", {"--serve", "cim"});
  const std::string plain = std::to_string(sim.Port("cim"));
  const CommandResult tls = RunTool({"probe", "127.0.0.1", "--redfish-port", plain, "--cim-port", "9",
                                     "--cim-https-port", "9", "--ipmi-port", "9", "--format", "json"});
  EXPECT_EQ(tls.exitCode, 12);
  EXPECT_THAT(tls.output, HasSubstr("\"step\": \"TLS\""));
  const CommandResult name = RunTool({"probe", "no-such-host.invalid", "--timeout", "2"});
  EXPECT_EQ(name.exitCode, 10);
  EXPECT_THAT(name.output, HasSubstr("no   name: "));
  EXPECT_EQ(RunTool({"probe"}).exitCode, 2);
  EXPECT_EQ(RunTool({"probe", "redfish://host"}).exitCode, 2);
  const CommandResult port = RunTool({"probe", "127.0.0.1:" + plain, "--timeout", "10"});
  EXPECT_EQ(port.exitCode, 0) << port.output;
  EXPECT_THAT(port.output, HasSubstr("cim+http://127.0.0.1:" + plain + "   yes  HTTP 401\n"));
}

TEST(Probe, TellsWhichCipherSuiteATargetWants) {
  const BmcSim sim("full", {"--serve", "ipmi", "--fault", "ipmi:suite-17-only"});
  const CommandResult result = RunTool({"probe", "127.0.0.1", "--user", "admin", "--redfish-port", "9", "--cim-port",
                                        "9", "--cim-https-port", "9", "--ipmi-port", std::to_string(sim.Port("ipmi"))});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, HasSubstr("logged in with cipher suite 17 alone: add ?suite=17\n"));
}

TEST(Explain, TellsEachRequestAndItsAnswer) {
  EXPECT_THAT(RunOperation({"demo:", "system", "--explain"}).errors,
              MatchesRegex("kelvar: TLSv1.3, certificate not verified .*\nsystem: 2 requests\n"
                           "  redfish GET /redfish/v1/Systems -> HTTP 200, [0-9]+ bytes, [0-9]+ ms\n"
                           "  redfish GET /redfish/v1/Systems/Self -> HTTP 200, [0-9]+ bytes, [0-9]+ ms\n"));
  EXPECT_THAT(RunOperation({"demo:ipmi", "generation", "--explain"}).errors,
              HasSubstr("  ipmi netfn 0x3a command 0xc1 -> completion code 0, 3 bytes, "));
  EXPECT_THAT(RunOperation({"demo:cim", "leds", "--explain"}).errors,
              HasSubstr("  cim enumerate CIM_IndicatorLED -> 7 instances, "));
}

TEST(Demo, RefusesWhatItDoesNotKnow) {
  EXPECT_EQ(RunTool({"demo:telnet"}).exitCode, 2);
  EXPECT_EQ(RunTool({"demo:?port=1"}).exitCode, 2);
  const CommandResult result = RunTool({"demo:?machine=none-such"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.errors, HasSubstr("no machine \"none-such\""));
  const CommandResult without = RunTool({"demo:ipmi?machine=stock-bmc"});
  EXPECT_EQ(without.exitCode, 2);
  EXPECT_THAT(without.errors, HasSubstr("has no data for ipmi"));
}

}  // namespace
}  // namespace Kelvar::Test
