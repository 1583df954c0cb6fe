// Foreign clients log in to the simulator and read its OEM data: what they see is what the machine's data say.

#include <gtest/gtest.h>

#include "support/ForeignIpmi.h"

namespace Kelvar::Test {
namespace {

struct Client {
  const char* name;
  ForeignLogin login;
  bool freeIpmi = false;

  CommandResult Raw(const BmcSim& sim, std::vector<std::string> request) const {
    if (freeIpmi) {
      request.insert(request.begin(), {"--session-timeout=3000", "0"});
      return RunFreeIpmi("ipmi-raw", sim, request, login);
    }
    request.insert(request.begin(), "raw");
    return RunIpmiTool(sim, request, login);
  }
};

class ForeignClients : public testing::TestWithParam<Client> {};

TEST_P(ForeignClients, ReadTheGenerationAndAreRefusedWithAWrongPassword) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  Client client = GetParam();
  const CommandResult read = client.Raw(sim, {"0x3a", "0xc1"});
  EXPECT_EQ(read.exitCode, 0) << read.errors;
  EXPECT_NE(read.output.find("02 01 00"), std::string::npos) << read.output;
  client.login.password = "wrong";
  EXPECT_NE(client.Raw(sim, {"0x3a", "0xc1"}).exitCode, 0);
}

const Client kClients[] = {
    {"ipmitool_suite_3", {.suite = "3"}},
    {"ipmitool_suite_17", {.suite = "17"}},
    {"ipmitool_suite_17_ipv6", {.suite = "17", .host = "::1"}},
    {"ipmitool_ipmi_1_5", {.suite = ""}},
    {"freeipmi_suite_3", {.suite = "3"}, true},
    {"freeipmi_suite_17", {.suite = "17"}, true},
};

INSTANTIATE_TEST_SUITE_P(All, ForeignClients, testing::ValuesIn(kClients),
                         [](const auto& parameter) { return std::string(parameter.param.name); });

struct Exchange {
  std::vector<std::string> request;
  const char* answer;  ///< part of what ipmitool prints on either stream
};

TEST(OemData, AnswersAsTheMachineDoes) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const Exchange exchanges[] = {
      {{"0x3a", "0x50"}, "54 42 43 31 32 38 4b 02 45 32 30 32 36 2d 30 33"},
      {{"0x3a", "0x0b", "0x0e", "0", "0x10", "7"}, "37 4b 34 30 00 00 00"},
      {{"0x3a", "0x0b", "0x4e", "4", "0x10", "0x24"}, "33 2e 30 32 54 42 45 31 39 38 4c 20"},
      {{"0x3a", "0x0b", "0", "0xff", "0x10", "7"}, "Parameter out of range"},
      {{"0x3a", "0x0b", "0", "0"}, "Request data length invalid"},
      {{"0x3a", "0xc4", "0", "0", "2", "0x81", "0x2f"}, "Requested sensor, data, or record not found"},
      {{"0x3a", "0xc4", "0", "0", "2", "0x82", "0x2f"}, "Invalid data field in request"},
      {{"0x3a", "0x99"}, "Invalid command"},
  };
  for (const Exchange& exchange : exchanges) {
    const CommandResult result = kClients[0].Raw(sim, exchange.request);
    EXPECT_NE((result.output + result.errors).find(exchange.answer), std::string::npos)
        << testing::PrintToString(exchange.request) << result.output << result.errors;
  }
}

}  // namespace
}  // namespace Kelvar::Test
