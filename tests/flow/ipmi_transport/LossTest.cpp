#include <atomic>

#include "flow/ipmi_transport/TransportCommands.h"
#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

using std::chrono::milliseconds;

TEST(IpmiLoss, LateReplyCountsForItsRequest) {
  constexpr milliseconds kDelay(25);
  constexpr std::size_t kSetUp = 5;
  IpmiSim server;
  std::chrono::steady_clock::time_point due;
  const RelayRule late = [&](Towards towards, std::size_t number, std::vector<u8>&) {
    const auto now = std::chrono::steady_clock::now();
    if (towards == Towards::Server) {
      return Fate{now < due ? 0 : 1, {}};  // what is sent again while the reply is on its way never arrives
    }
    due = number >= kSetUp ? now + kDelay : now;
    return Fate{1, number >= kSetUp ? kDelay : milliseconds(0)};
  };
  UdpRelay relay(server.Port(), late);
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  client.SetTimings({10, 40, 100, 5000, 30000});
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  const std::size_t before = relay.FromClient();
  for (int round = 0; round < 3; ++round) {
    ExpectDeviceId(client);
    ExpectChannelInfo(client);
  }
  EXPECT_GT(relay.FromClient() - before, 6U) << "nothing was sent again";
}

/// What lies between the second and the third transmission of a command whose first two get lost. Replies to the
/// command before come after `delay`.
milliseconds SecondWait(const IpmiSim& server, milliseconds delay) {
  std::atomic<bool> losing = false;
  std::vector<std::chrono::steady_clock::time_point> sent;
  UdpRelay relay(server.Port(), [&](Towards towards, std::size_t, std::vector<u8>&) {
    if (towards == Towards::Client || !losing) {
      return Fate{1, towards == Towards::Client && !losing ? delay : milliseconds(0)};
    }
    sent.push_back(std::chrono::steady_clock::now());
    return Fate{sent.size() < 3 ? 0 : 1, {}};
  });
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  client.SetTimings({100, 1000, 4, 5000, 30000});
  EXPECT_EQ(client.connect(), IPMICONNECTED);
  ExpectDeviceId(client);
  losing = true;
  ExpectDeviceId(client);
  return std::chrono::duration_cast<milliseconds>(sent.at(2) - sent.at(1));
}

TEST(IpmiLoss, APromptTargetIsAskedAgainSooner) {
  const IpmiSim server;
  milliseconds least(1000);
  for (int attempt = 0; attempt < 5 && least >= milliseconds(150); ++attempt) {  // a busy machine is late now and then
    least = std::min(least, SecondWait(server, milliseconds(0)));
  }
  EXPECT_LT(least, milliseconds(150));
  EXPECT_GT(SecondWait(server, milliseconds(70)), milliseconds(150));
}

TEST(IpmiLoss, BadWeatherChangesNoAnswer) {
  IpmiSim server;
  const Weather weathers[] = {{1, 20, 0, 0, {}},
                              {2, 0, 50, 0, {}},
                              {3, 0, 0, 50, milliseconds(10)},
                              {4, 15, 20, 20, milliseconds(12)},
                              {5, 15, 20, 20, milliseconds(25)}};
  for (const Weather& weather : weathers) {
    SCOPED_TRACE(weather.seed);
    UdpRelay relay(server.Port(), MakeWeather(weather));
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
    client.SetTimings(kPatient);
    ASSERT_EQ(client.connect(), IPMICONNECTED);
    for (int round = 0; round < 6; ++round) {
      ExpectDeviceId(client);
      ExpectChannelInfo(client);
    }
  }
}

TEST(IpmiLoss, WrongPasswordIsToldInBadWeather) {
  IpmiSim server;
  for (unsigned seed = 1; seed <= 5; ++seed) {
    UdpRelay relay(server.Port(), MakeWeather({seed, 15, 20, 20, milliseconds(12)}));
    IpmiClient client("127.0.0.1", "admin", "wrong", relay.PortText(), 3);
    client.SetTimings(kPatient);
    EXPECT_EQ(client.connect(), IPMIAUTHFAIL);
  }
}

TEST(IpmiLoss, SilenceEndsWithinTheLimit) {
  IpmiSim server;
  for (std::size_t heard = 0; heard < 5; ++heard) {  // the server falls silent at each step of the set-up
    UdpRelay relay(server.Port(), [=](Towards towards, std::size_t number, std::vector<u8>&) {
      return Fate{towards == Towards::Client && number >= heard ? 0 : 1, {}};
    });
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
    client.SetTimings({10, 20, 500, 80, 30000});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.connect(), IPMICONNECTFAIL) << heard;
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(2000)) << heard;
  }
}

}  // namespace
}  // namespace Kelvar::Test
