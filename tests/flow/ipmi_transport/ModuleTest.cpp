#include "flow/ipmi_transport/TransportCommands.h"
#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/TestPlaces.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

IpmiSimConfig WithModule(std::vector<std::string> lines) {
  IpmiSimConfig config;
  config.module = kIpmiModule;
  config.moduleLines = std::move(lines);
  return config;
}

TEST(IpmiModule, Suite17AnswersAndRefuses) {
  IpmiSim server(WithModule({"suites 17"}));
  for (const std::size_t suite : {17U, 0U, 5U}) {
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), suite);
    ASSERT_EQ(client.connect(), IPMICONNECTED) << suite;
    for (int round = 0; round < 10; ++round) {
      ExpectDeviceId(client);
      ExpectChannelInfo(client);
    }
    IpmiClient wrong("127.0.0.1", "admin", "wrong", server.PortText(), suite);
    EXPECT_EQ(wrong.connect(), IPMIAUTHFAIL) << suite;
    IpmiClient unknown("127.0.0.1", "nobody", "kelvar-demo", server.PortText(), suite);
    EXPECT_EQ(unknown.connect(), IPMIAUTHFAIL) << suite;
  }
  IpmiClient other("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  EXPECT_EQ(other.connect(), IPMICONNECTFAIL) << "suite 3 is not served, and 17 was not asked for";
}

TEST(IpmiModule, Suite17SurvivesBadWeather) {
  IpmiSim server(WithModule({"suites 3,17"}));
  UdpRelay relay(server.Port(), MakeWeather({9, 15, 20, 20, std::chrono::milliseconds(12)}));
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 17);
  client.SetTimings(kPatient);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  for (int round = 0; round < 20; ++round) {
    ExpectDeviceId(client);
  }
}

TEST(IpmiModule, PrivilegeFallsWhenTheSessionRefusesIt) {
  const struct {
    std::vector<std::string> lines;
    const char* privilege;
  } cases[] = {{{"rule 06 3B 04 reply=81"}, "3"}, {{"rule 06 3B 04 reply=80", "rule 06 3B 03 reply=81"}, "2"}};
  for (const auto& test : cases) {
    IpmiSim server(WithModule(test.lines));
    const LogCapture log;
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
    ASSERT_EQ(client.connect(), IPMICONNECTED);
    EXPECT_TRUE(log.Has(3, std::string("IPMI: session open, privilege ") + test.privilege));
  }
}

TEST(IpmiModule, RepliesOfAnyLength) {
  IpmiSim server(WithModule({"rule 3A 50 - reply=00" + std::string(1200, '7'), "rule 3A 51 - reply=CB",
                             "rule 3A 52 - silent times=1", "rule 3A 52 - reply=0001"}));
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  client.SetTimings(kShort);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  std::vector<u8> response;
  u8 completionCode = 0;
  EXPECT_EQ(client.send({0x50, {}, 0x3A}, response, completionCode), 0);
  EXPECT_EQ(response, std::vector<u8>(600, 0x77));
  EXPECT_EQ(client.send({0x51, {}, 0x3A}, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0xCB);
  EXPECT_TRUE(response.empty());
  EXPECT_EQ(client.send({0x52, {}, 0x3A}, response, completionCode), 0) << "sent again after silence";
  EXPECT_EQ(response, std::vector<u8>{1});
}

}  // namespace
}  // namespace Kelvar::Test
