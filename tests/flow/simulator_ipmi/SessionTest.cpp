// Foreign clients log in to the simulator and read its OEM data: what they see is what the machine's data say.

#include <gtest/gtest.h>

#include "support/BmcSim.h"
#include "support/Command.h"

namespace Kelvar::Test {
namespace {

struct Client {
  const char* name;
  std::vector<std::string> words;  ///< before the raw request; PORT and PASSWORD stand for theirs
};

std::vector<std::string> WordsFor(const Client& client, const BmcSim& sim, const std::string& password,
                                  const std::vector<std::string>& request) {
  std::vector<std::string> words = client.words;
  for (std::string& word : words) {
    for (const auto& [placeholder, value] :
         {std::pair<std::string, std::string>{"PORT", std::to_string(sim.Port("ipmi"))}, {"PASSWORD", password}}) {
      if (const std::size_t at = word.find(placeholder); at != std::string::npos) {
        word.replace(at, placeholder.size(), value);
      }
    }
  }
  words.insert(words.end(), request.begin(), request.end());
  return words;
}

Client IpmiTool(const char* name, std::vector<std::string> options, const char* host = "127.0.0.1") {
  Client client{name, {"ipmitool", "-N", "1", "-R", "2", "-H", host, "-p", "PORT", "-U", "admin", "-P", "PASSWORD"}};
  client.words.insert(client.words.end(), options.begin(), options.end());
  client.words.emplace_back("raw");
  return client;
}

Client FreeIpmi(const char* name, const char* suite) {
  return {name,
          {"ipmi-raw", "-W", "opensesspriv", "-D", "LAN_2_0", "-I", suite, "-h", "127.0.0.1:PORT", "-u", "admin", "-p",
           "PASSWORD", "-l", "admin", "--session-timeout=3000", "0"}};
}

class ForeignClients : public testing::TestWithParam<Client> {};

TEST_P(ForeignClients, ReadTheGenerationAndAreRefusedWithAWrongPassword) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const CommandResult read = RunCommand(WordsFor(GetParam(), sim, "kelvar-demo", {"0x3a", "0xc1"}));
  EXPECT_EQ(read.exitCode, 0) << read.errors;
  EXPECT_NE(read.output.find("02 01 00"), std::string::npos) << read.output;
  EXPECT_NE(RunCommand(WordsFor(GetParam(), sim, "wrong", {"0x3a", "0xc1"})).exitCode, 0);
}

INSTANTIATE_TEST_SUITE_P(All, ForeignClients,
                         testing::Values(IpmiTool("ipmitool_suite_3", {"-I", "lanplus", "-C", "3"}),
                                         IpmiTool("ipmitool_suite_17", {"-I", "lanplus", "-C", "17"}),
                                         IpmiTool("ipmitool_suite_17_ipv6", {"-I", "lanplus", "-C", "17"}, "::1"),
                                         IpmiTool("ipmitool_ipmi_1_5", {"-I", "lan"}),
                                         FreeIpmi("freeipmi_suite_3", "3"), FreeIpmi("freeipmi_suite_17", "17")),
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
    const CommandResult result =
        RunCommand(WordsFor(IpmiTool("", {"-I", "lanplus", "-C", "3"}), sim, "kelvar-demo", exchange.request));
    EXPECT_NE((result.output + result.errors).find(exchange.answer), std::string::npos)
        << testing::PrintToString(exchange.request) << result.output << result.errors;
  }
}

}  // namespace
}  // namespace Kelvar::Test
