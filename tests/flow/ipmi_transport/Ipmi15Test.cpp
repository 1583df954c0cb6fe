#include <atomic>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>

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

ConnectionOptions Asking(ConnectionOptions::IpmiSession kind) {
  ConnectionOptions options;
  options.ipmi_session = kind;
  return options;
}

const ConnectionOptions kMd5Session = Asking(ConnectionOptions::IpmiSession::Ipmi15Md5);
const ConnectionOptions kPasswordSession = Asking(ConnectionOptions::IpmiSession::Ipmi15Password);

TEST(Ipmi15, EachAuthenticationTypeServesAndRefuses) {
  const struct {
    const ConnectionOptions& options;
    u8 authType;
  } cases[] = {{kMd5Session, 2}, {kPasswordSession, 4}};
  IpmiSim server;
  for (const auto& test : cases) {
    SCOPED_TRACE(int{test.authType});
    std::atomic<int> others{0};
    UdpRelay relay(server.Port(), [&](Towards towards, std::size_t number, std::vector<u8>& datagram) {
      others += towards == Towards::Server && number >= 2 && datagram.at(4) != test.authType ? 1 : 0;
      return Fate{};
    });
    const ConnectionOptionsScope scope(test.options);
    const LogCapture log;
    {
      IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
      client.SetTimings(kShort);
      ASSERT_EQ(client.connect(), IPMICONNECTED);
      EXPECT_TRUE(log.Has(3, "IPMI: session open, privilege 4"));
      for (int round = 0; round < 70; ++round) {
        ExpectDeviceId(client);
      }
    }
    EXPECT_EQ(others, 0) << "packets with another authentication type";
    IpmiClient unknown("127.0.0.1", "nobody", "kelvar-demo", relay.PortText(), 3);
    EXPECT_EQ(unknown.connect(), IPMIAUTHFAIL);
    IpmiClient wrong("127.0.0.1", "admin", "wrong", relay.PortText(), 3);
    wrong.SetTimings(kShort);
    EXPECT_EQ(wrong.connect(), IPMIAUTHFAIL);
  }
}

TEST(Ipmi15, NoPacketTalksTheClientDown) {
  IpmiSim server;
  for (const u8 offered : {u8{kNone | kMd5 | kPassword}, kPassword, kNone}) {
    std::atomic<int> lowered{0};
    UdpRelay relay(server.Port(), Only15(offered, [&](Towards towards, std::size_t number, std::vector<u8>& datagram) {
                     lowered += towards == Towards::Server && number > 0 && datagram.at(4) != 6 ? 1 : 0;
                     return Fate{};
                   }));
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
    ASSERT_EQ(client.connect(), IPMICONNECTED) << "RMCP+ is there, whatever the forged packet says";
    ExpectDeviceId(client);
    EXPECT_EQ(lowered, 0);
  }
}

TEST(Ipmi15, PrivilegeFallsToWhatTheUserHas) {
  IpmiSim server;
  const ConnectionOptionsScope scope(kMd5Session);
  const LogCapture log;
  IpmiClient client("127.0.0.1", "user", "user-pass", server.PortText(), 3);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  EXPECT_TRUE(log.Has(3, "IPMI: session open, privilege 2"));
  ExpectDeviceId(client);
}

TEST(Ipmi15, WhatIpmi15CannotDo) {
  IpmiSim server;
  const ConnectionOptionsScope scope(kMd5Session);
  IpmiClient longPassword("127.0.0.1", "admin", "password-17-bytes", server.PortText(), 3);
  EXPECT_EQ(longPassword.connect(), IPMIAUTHFAIL);
  Diagnostics met;
  const DiagnosticsScope diagnostics(met);
  UdpRelay other(server.Port(), Only15(kNone | kPassword));
  IpmiClient noType("127.0.0.1", "admin", "kelvar-demo", other.PortText(), 3);
  EXPECT_EQ(noType.connect(), IPMICONNECTFAIL);
  EXPECT_EQ(met.Cause(), FailureCause::NotOffered);
}

TEST(Ipmi15, ServerThatDiesAfterTheChallengeIsNoRefusedLogin) {
  IpmiSim server;
  const RelayRule dead = [](Towards towards, std::size_t number, std::vector<u8>&) {
    return Fate{towards == Towards::Server && number >= 2 ? 0 : 1, {}};
  };
  const ConnectionOptionsScope scope(kMd5Session);
  UdpRelay relay(server.Port(), dead);
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  client.SetTimings(kShort);
  EXPECT_EQ(client.connect(), IPMICONNECTFAIL);
}

TEST(Ipmi15, SurvivesLossDoublesAndDelays) {
  IpmiSim server;
  Weather weather{7, 15, 20, 15, std::chrono::milliseconds(15)};
  const ConnectionOptionsScope scope(kMd5Session);
  UdpRelay relay(server.Port(), MakeWeather(weather));
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
