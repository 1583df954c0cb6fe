// The tool against the simulator's Redfish side.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using Words = std::vector<std::string>;

struct Case {
  Words what;
  Words output;  ///< parts of standard output
};

class OverRedfish : public testing::TestWithParam<Case> {};

TEST_P(OverRedfish, PrintsWhatTheMachineHas) {
  const BmcSim sim("full", {"--serve", "redfish"});
  Words words{"redfish://admin@127.0.0.1:" + std::to_string(sim.Port("redfish"))};
  words.insert(words.end(), GetParam().what.begin(), GetParam().what.end());
  const CommandResult result = RunOperation(words);
  EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
  for (const std::string& text : GetParam().output) {
    EXPECT_THAT(result.output, HasSubstr(text));
  }
}

const Case kCases[] = {
    {{"firmware", "identity", "system"},
     {"uEFIBuildID            TBE207M-3.10", "BMCPVQBackUpBuildDate  2025-11-02", "ProductName   Kestrel RT140",
      "MachineType   7K40", "ModelName     rt140"}},
    {{"components", "board"},
     {"power supply 2        Ohmsten       KP57-02023  01KV800        OHM70AA2", "SerialNumber   KVB93A01A"}},
    {{"sensors"}, {"System 12V         12.14           V", "Fan 1 Tach         5280"}},
    {{"log", "audit-log", "platform-log", "active-events", "maintenance-log"},
     {"Scrub failure for DIMM 7", "login ID: root had 5 login failures", "platform-log\n", "active-events\n",
      "Firmware of UEFI has been updated to TBE207M."}},
    {{"dns", "ip", "static-ip", "snmp"},
     {"DNS Setting for IPv6Address1  2001:db8::53", "192.0.2.17               Static", "255.255.255.0  192.0.2.1",
      "snmp\n  ElementName\n  SNMP\n"}},
};

INSTANTIATE_TEST_SUITE_P(All, OverRedfish, testing::ValuesIn(kCases));

TEST(RedfishTls, IsVerifiedAsRequestedAndShown) {
  const BmcSim sim("full", {"--serve", "redfish"});
  const std::string port = std::to_string(sim.Port("redfish"));
  const std::string target = "redfish://admin@127.0.0.1:" + port;
  const std::string pin = RunCommand({"bash", "-c",
                                      "openssl s_client -connect 127.0.0.1:" + port +
                                          " </dev/null 2>/dev/null | openssl x509 -noout -fingerprint -sha256"})
                              .output;
  const std::string digits = pin.substr(pin.find('=') + 1, 95);
  const CommandResult open = RunTool({target, "leds", "--format", "json", "-v"});
  EXPECT_THAT(open.output, HasSubstr(R"("verified_by": "none")"));
  EXPECT_THAT(open.errors, HasSubstr("kelvar: TLSv1.3, certificate not verified (see --cacert and --pin)"));
  const CommandResult pinned = RunTool({target, "leds", "--format", "json", "--explain", "--pin", digits});
  EXPECT_THAT(pinned.output, HasSubstr(R"("verified_by": "pin")"));
  EXPECT_THAT(pinned.errors, HasSubstr("kelvar: TLSv1.3, certificate verified (--pin)"));
  EXPECT_THAT(RunTool({"health", target, "-v", "--pin", digits}).errors,
              HasSubstr("kelvar: " + target + ": TLSv1.3, certificate verified (--pin)\n"));
  EXPECT_EQ(RunTool({"raw", target, "/redfish/v1/", "--pin", digits}).exitCode, 0);
  const CommandResult other = RunTool({"raw", target, "/redfish/v1/", "--pin", std::string(64, 'a')});
  EXPECT_EQ(other.exitCode, 12);
  EXPECT_EQ(other.output, "");
}

TEST(RedfishFailures, OfARawResourceThatIsNotJson) {
  const BmcSim sim("awkward", {"--serve", "redfish"});
  const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(sim.Port("redfish"));
  const CommandResult page = RunTool({"raw", target, "/redfish/v1/Chassis/Html"});
  EXPECT_EQ(page.exitCode, 13);
  EXPECT_THAT(page.output, HasSubstr("<html>"));
  EXPECT_THAT(page.errors, HasSubstr("the response is not JSON"));
}

TEST(RedfishFailures, AreNoneWhereNoLogEntryIsNewEnough) {
  const BmcSim sim("full", {"--serve", "redfish,cim"});
  for (const std::string& target : {"redfish://admin@127.0.0.1:" + std::to_string(sim.Port("redfish")),
                                    "cim+http://admin@127.0.0.1:" + std::to_string(sim.Port("cim"))}) {
    const CommandResult result = RunTool({target, "logs", "--since", "2100-01-01"});
    EXPECT_EQ(result.exitCode, 0) << target << ": " << result.errors;
    EXPECT_EQ(result.output, "logs\n");
  }
}

TEST(RedfishFailures, OfTheWholeTargetAreToldOnce) {
  const CommandResult none = RunTool({"redfish://admin@127.0.0.1:9"});
  EXPECT_EQ(none.exitCode, 10);
  EXPECT_THAT(none.output, testing::MatchesRegex("health: unknown \\(.*127.0.0.1.*\\)\n"));
}

TEST(RedfishFailures, AreToldFromSuccessThoughTheLibrarySucceedsOverThem) {
  const BmcSim sim("full", {"--serve", "redfish"});
  const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(sim.Port("redfish"));
  const CommandResult refused = RunOperation({target, "firmware", "components"}, {"KELVAR_PASSWORD=wrong"});
  EXPECT_EQ(refused.exitCode, 11);
  EXPECT_THAT(refused.output, HasSubstr("firmware: failed: the login was refused (GET /redfish"));
  EXPECT_THAT(refused.output, HasSubstr("components: not tried: the login was refused\n"));
  EXPECT_EQ(RunOperation({"redfish://admin@127.0.0.1:9", "components"}).exitCode, 10);
  const BmcSim plain("full", {"--serve", "cim"});  // speaks HTTP, not TLS
  EXPECT_EQ(RunOperation({"redfish://admin@127.0.0.1:" + std::to_string(plain.Port("cim")), "components"}).exitCode,
            12);
}

}  // namespace
}  // namespace Kelvar::Test
