#include "flow/ipmi_transport/TransportCommands.h"
#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

using std::chrono::milliseconds;

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
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(8000)) << heard;
  }
}

}  // namespace
}  // namespace Kelvar::Test
