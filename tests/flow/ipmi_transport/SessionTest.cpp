#include <gtest/gtest.h>

#include "common/ipmi/IpmiClient.h"
#include "support/IpmiSim.h"
#include "support/LogCapture.h"

namespace Kelvar {
namespace {

using Test::FreeUdpPort;
using Test::IpmiSim;
using Test::LogCapture;

constexpr IpmiTimings kShort{30, 60, 4, 2000, 30000};
const IPMICOMMAND kGetDeviceId{0x01, {}, 0x06};

void ExpectDeviceId(IpmiClient& client) {
  std::vector<u8> response{1, 2, 3};
  u8 completionCode = 1;
  EXPECT_EQ(client.send(kGetDeviceId, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0);
  ASSERT_GE(response.size(), 12U);
  EXPECT_EQ(response[2], 9) << "major firmware revision";
  EXPECT_EQ(response[3], 8) << "minor firmware revision";
}

void ExpectNotConnected(IpmiClient& client) {
  std::vector<u8> response{1};
  u8 completionCode = 0;
  EXPECT_NE(client.send(kGetDeviceId, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0xFF);
  EXPECT_TRUE(response.empty());
}

TEST(IpmiSession, Suite3AnswersCommands) {
  IpmiSim server;
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  ExpectNotConnected(client);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  for (int round = 0; round < 70; ++round) {
    ExpectDeviceId(client);
  }
  client.disconnect();
  ExpectNotConnected(client);
}

TEST(IpmiSession, RefusedLoginsAreTold) {
  IpmiSim server;
  const LogCapture log;
  const struct {
    const char* user;
    const char* password;
  } cases[] = {
      {"admin", "kelvar-dem0"}, {"nobody", "kelvar-demo"}, {"name-of-17-bytes.", "kelvar-demo"}, {"admin", ""}};
  for (const auto& login : cases) {
    SCOPED_TRACE(login.user);
    IpmiClient client("127.0.0.1", login.user, login.password, server.PortText(), 3);
    EXPECT_EQ(client.connect(), IPMIAUTHFAIL);
    ExpectNotConnected(client);
  }
  EXPECT_FALSE(log.Contains("kelvar-dem"));
}

TEST(IpmiSession, SilenceIsNoRefusedLogin) {
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", std::to_string(FreeUdpPort("127.0.0.1")), 3);
  client.SetTimings(kShort);
  EXPECT_EQ(client.connect(), IPMICONNECTFAIL);
  ExpectNotConnected(client);
}

}  // namespace
}  // namespace Kelvar
