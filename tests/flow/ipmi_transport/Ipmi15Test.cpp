#include "flow/ipmi_transport/TransportCommands.h"
#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

constexpr u8 kNone = 0x01;
constexpr u8 kMd5 = 0x04;
constexpr u8 kPassword = 0x10;

/// Makes the server's authentication capabilities those of a target without RMCP+.
RelayRule Only15(u8 authTypes, RelayRule then = nullptr) {
  return [=](Towards towards, std::size_t number, std::vector<u8>& datagram) {
    if (towards == Towards::Client && IsPlainReply(datagram, 0x38)) {
      datagram[kPlainMessage + 8] = authTypes;
      datagram[kPlainMessage + 10] = 0;
      Reseal(datagram);
    }
    return then ? then(towards, number, datagram) : Fate{};
  };
}

TEST(Ipmi15, EachAuthenticationTypeServesAndRefuses) {
  const struct {
    u8 offered;
    const char* line;
    CONNECTIONSTATE wrongPassword;
  } cases[] = {{kNone | kMd5 | kPassword, "authentication type 2", IPMIAUTHFAIL},
               {kNone | kPassword, "authentication type 4", IPMIAUTHFAIL},
               {kNone, "authentication type 0", IPMICONNECTED}};
  IpmiSim server;
  for (const auto& test : cases) {
    SCOPED_TRACE(test.line);
    const LogCapture log;
    UdpRelay relay(server.Port(), Only15(test.offered));
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
    client.SetTimings(kShort);
    ASSERT_EQ(client.connect(), IPMICONNECTED);
    EXPECT_TRUE(log.Contains(test.line));
    EXPECT_TRUE(log.Has(3, "IPMI: session open, privilege 4"));
    for (int round = 0; round < 70; ++round) {
      ExpectDeviceId(client);
    }
    IpmiClient unknown("127.0.0.1", "nobody", "kelvar-demo", relay.PortText(), 3);
    EXPECT_EQ(unknown.connect(), IPMIAUTHFAIL);
    IpmiClient wrong("127.0.0.1", "admin", "wrong", relay.PortText(), 3);
    wrong.SetTimings(kShort);
    EXPECT_EQ(wrong.connect(), test.wrongPassword);
  }
}

TEST(Ipmi15, PrivilegeFallsToWhatTheUserHas) {
  IpmiSim server;
  UdpRelay relay(server.Port(), Only15(kMd5));
  const LogCapture log;
  IpmiClient client("127.0.0.1", "user", "user-pass", relay.PortText(), 3);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  EXPECT_TRUE(log.Has(3, "IPMI: session open, privilege 2"));
  ExpectDeviceId(client);
}

TEST(Ipmi15, WhatIpmi15CannotDo) {
  IpmiSim server;
  UdpRelay relay(server.Port(), Only15(kMd5));
  IpmiClient longPassword("127.0.0.1", "admin", "password-17-bytes", relay.PortText(), 3);
  EXPECT_EQ(longPassword.connect(), IPMIAUTHFAIL);
  UdpRelay nothing(server.Port(), Only15(0));
  IpmiClient noType("127.0.0.1", "admin", "kelvar-demo", nothing.PortText(), 3);
  EXPECT_EQ(noType.connect(), IPMICONNECTFAIL);
}

TEST(Ipmi15, ServerThatDiesBehindTheChallengeIsNoRefusedLogin) {
  IpmiSim server;
  const RelayRule dead = [](Towards towards, std::size_t number, std::vector<u8>&) {
    return Fate{towards == Towards::Server && number >= 2 ? 0 : 1, {}};
  };
  UdpRelay relay(server.Port(), Only15(kMd5, dead));
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  client.SetTimings(kShort);
  EXPECT_EQ(client.connect(), IPMICONNECTFAIL);
}

TEST(Ipmi15, SurvivesLossDoublesAndDelays) {
  IpmiSim server;
  Weather weather{7, 15, 20, 15, std::chrono::milliseconds(15)};
  UdpRelay relay(server.Port(), Only15(kMd5, MakeWeather(weather)));
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  client.SetTimings(kPatient);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  for (int round = 0; round < 30; ++round) {
    ExpectDeviceId(client);
    ExpectChannelInfo(client);
  }
}

}  // namespace
}  // namespace Kelvar::Test
