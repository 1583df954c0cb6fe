#include <chrono>

#include "flow/ipmi_transport/TransportCommands.h"
#include "support/IpmiSim.h"
#include "support/LogCapture.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

TEST(IpmiSession, AnswersCommandsUntilDisconnected) {
  IpmiSim server;
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  ExpectNoExchange(client);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  for (int round = 0; round < 70; ++round) {  // request numbers start over at 64
    ExpectDeviceId(client);
    ExpectChannelInfo(client);
  }
  ASSERT_EQ(client.connect(), IPMICONNECTED) << "a second connect replaces the session";
  ExpectDeviceId(client);
  client.disconnect();
  client.disconnect();
  ExpectNoExchange(client);
}

TEST(IpmiSession, CompletionCodesComeBack) {
  IpmiSim server;
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  std::vector<u8> response;
  u8 completionCode = 0;
  EXPECT_EQ(client.send({0x7F, {1, 2}, 0x3A}, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0xC1) << "unknown command";
  EXPECT_NE(client.send({0x01, std::vector<u8>(249), 0x06}, response, completionCode), 0) << "too long to be sent";
  EXPECT_EQ(completionCode, 0xFF);
  EXPECT_NE(client.send({0x01, {}, 0x40}, response, completionCode), 0) << "no network function of six bits";
  EXPECT_NE(client.send({0x01, {}, 0x07}, response, completionCode), 0) << "the network function of a reply";
}

TEST(IpmiSession, CommandsReachTheControllersOfAForeignServer) {
  IpmiSimConfig config;
  config.emulatorLines = {"mc_add 0x2c 7 no-device-sdrs 0x10 3 0x21 0x9f 0x1291 0x22", "mc_enable 0x2c"};
  IpmiSim server(config);
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  std::vector<u8> response;
  u8 completionCode = 0;
  for (int round = 0; round < 70; ++round) {
    ASSERT_EQ(client.SendTo({0x2C, 0, 0}, {0x01, {}, 0x06}, response, completionCode), 0);
    ASSERT_EQ(completionCode, 0);
    ASSERT_GE(response.size(), 11U);
    EXPECT_EQ(response[0], 7);
    ExpectDeviceId(client);
  }
  EXPECT_EQ(client.SendTo({0x2C, 0, 0}, {0x7F, {1, 2}, 0x3A}, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0xC1) << "the satellite's own";
  EXPECT_EQ(client.SendTo({0x2E, 0, 0}, {0x01, {}, 0x06}, response, completionCode), Ipmi::kSendNotHandedOn);
  EXPECT_EQ(completionCode, 0x83);
}

TEST(IpmiSession, RefusedLoginsAreTold) {
  IpmiSim server;
  const LogCapture log;
  const struct {
    const char* user;
    const char* password;
  } cases[] = {{"admin", "kelvar-dem0"},
               {"admin", ""},
               {"admin", "kelvar-demo-and-more-than-20"},
               {"nobody", "kelvar-demo"},
               {"name-of-17-bytes.", "kelvar-demo"}};
  for (const auto& login : cases) {
    SCOPED_TRACE(login.password);
    IpmiClient client("127.0.0.1", login.user, login.password, server.PortText(), 3);
    EXPECT_EQ(client.connect(), IPMIAUTHFAIL);
    ExpectNoExchange(client);
  }
  EXPECT_FALSE(log.Contains("kelvar-dem"));
}

TEST(IpmiSession, PrivilegeFallsWhenTheKeyExchangeRefusesIt) {
  const struct {
    u8 payloadType;
    u8 status;
  } refusals[] = {{0x11, 0x09}, {0x13, 0x0A}, {0x15, 0x0B}};
  IpmiSim server;
  for (const auto& refusal : refusals) {
    int refused = 0;
    UdpRelay relay(server.Port(), [&](Towards towards, std::size_t, std::vector<u8>& datagram) {
      if (towards == Towards::Client && datagram[5] == refusal.payloadType && refused < 2) {
        ++refused;
        datagram[kPlusPayload + 1] = refusal.status;
      }
      return Fate{};
    });
    const LogCapture log;
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
    ASSERT_EQ(client.connect(), IPMICONNECTED) << int{refusal.payloadType};
    EXPECT_TRUE(log.Has(3, "IPMI: session open, privilege 2"));
    ExpectDeviceId(client);
  }
}

TEST(IpmiSession, NamesAndBothFamiliesReachTheServer) {
  for (const char* address : {"127.0.0.1", "::1"}) {
    IpmiSimConfig config;
    config.address = address;
    IpmiSim server(config);
    IpmiClient client(address, "admin", "kelvar-demo", server.PortText(), 3);
    EXPECT_EQ(client.connect(), IPMICONNECTED) << address;
    ExpectDeviceId(client);
  }
  IpmiSim server;  // the name may stand for both families, of which only one has a server
  IpmiClient client("localhost", "admin", "kelvar-demo", server.PortText(), 3);
  EXPECT_EQ(client.connect(), IPMICONNECTED);
  ExpectDeviceId(client);
}

TEST(IpmiSession, SuitesThatTheServerLacks) {
  IpmiSim server;
  IpmiClient strict("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 17);
  EXPECT_EQ(strict.connect(), IPMICONNECTFAIL);
  IpmiClient refused("127.0.0.1", "admin", "wrong", server.PortText(), 0);
  EXPECT_EQ(refused.connect(), IPMIAUTHFAIL);
}

/// Makes the server's refusals of a suite, which have two bytes, longer or silence, and its list of suites unknown.
RelayRule RefuseSuites(std::size_t size, int copies, bool hasList) {
  return [=](Towards towards, std::size_t, std::vector<u8>& datagram) {
    if (towards == Towards::Client && IsPlainReply(datagram, 0x54) && !hasList) {
      datagram[kPlainMessage - 1] = 8;
      datagram.resize(kPlainMessage + 8);
      datagram[kPlainMessage + 6] = 0xC1;
      Reseal(datagram);
    }
    const bool refusal = towards == Towards::Client && datagram[5] == 0x11 && datagram[kPlusPayload + 1] != 0;
    if (refusal) {
      datagram.resize(kPlusPayload + size);
      datagram[kPlusPayload - 2] = static_cast<u8>(size);
    }
    return Fate{refusal ? copies : 1, {}};
  };
}

TEST(IpmiSession, FallsToSuite3HoweverTheBetterOneIsRefused) {
  IpmiSim server;
  for (const auto& rule :
       {RefuseSuites(2, 1, true), RefuseSuites(4, 1, false), RefuseSuites(2, 0, true), RefuseSuites(2, 0, false)}) {
    UdpRelay relay(server.Port(), rule);
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 0);
    client.SetTimings(kShort);
    ASSERT_EQ(client.connect(), IPMICONNECTED);
    ExpectDeviceId(client);
  }
}

TEST(IpmiSession, SetUpOutOfStepStartsOver) {
  // A target that makes new random numbers for each copy of a message refuses what was worked out from the old ones.
  IpmiSim server;
  const LogCapture log;
  int refused = 0;
  UdpRelay relay(server.Port(), [&](Towards towards, std::size_t, std::vector<u8>& datagram) {
    if (towards == Towards::Client && datagram[5] == 0x15 && refused++ == 0) {
      datagram[kPlusPayload + 1] = 0x0F;
    }
    return Fate{};
  });
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  EXPECT_TRUE(log.Contains("starts over"));
  ExpectDeviceId(client);
}

TEST(IpmiSession, PlacesAtTheServerAreGivenBack) {
  IpmiSim server;  // ten sessions a user, 63 in all
  for (int round = 0; round < 70; ++round) {
    IpmiClient refused("127.0.0.1", "admin", "wrong", server.PortText(), 3);
    ASSERT_EQ(refused.connect(), IPMIAUTHFAIL) << round;
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
    ASSERT_EQ(client.connect(), IPMICONNECTED) << round;
  }
}

TEST(IpmiSession, SilenceIsNoRefusedLogin) {
  const LogCapture log;
  const struct {
    const char* host;
    std::string port;
  } cases[] = {{"127.0.0.1", std::to_string(FreeUdpPort("127.0.0.1"))},
               {"127.0.0.1", "no-port"},
               {"127.0.0.1", "70000"},
               {"", "623"}};
  for (const auto& target : cases) {
    SCOPED_TRACE(target.port);
    IpmiClient client(target.host, "admin", "kelvar-demo", target.port, 3);
    client.SetTimings(kShort);
    EXPECT_EQ(client.connect(), IPMICONNECTFAIL);
    ExpectNoExchange(client);
  }
  EXPECT_TRUE(log.Has(1, "IPMI: no session with 127.0.0.1 port " + cases[0].port + ": port closed"));
  EXPECT_TRUE(log.Contains("cannot resolve 127.0.0.1 port no-port"));
}

TEST(IpmiSession, KilledServerIsSilenceAndComesBack) {
  IpmiSim server;
  const LogCapture log;
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  client.SetTimings(kShort);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  ExpectDeviceId(client);
  server.Stop();
  ExpectNoExchange(client);
  ExpectNoExchange(client);
  server.Start();
  ExpectDeviceId(client);
  server.Stop();
  const auto start = std::chrono::steady_clock::now();
  client.disconnect();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
}

TEST(IpmiSession, ExpiredSessionIsOpenedAgainOnce) {
  IpmiSim server;
  IpmiTimings timings = kShort;
  timings.idleExpiryMs = 0;
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", server.PortText(), 3);
  client.SetTimings(timings);
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  server.Stop();
  server.Start();  // it knows the session no longer
  ExpectDeviceId(client);
}

}  // namespace
}  // namespace Kelvar::Test
