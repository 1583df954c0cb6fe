// Sessions with service processors that are awkward on purpose, in virtual time.

#include <gtest/gtest.h>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>

#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/VirtualLan.h"
#include "transport/ipmi/CommandWindow.h"
#include "transport/ipmi/IpmiClient.h"
#include "transport/ipmi/LanTransport.h"

namespace Kelvar::Test {
namespace {

using namespace std::chrono_literals;

/// One target, one path, one client.
struct Meeting {
  explicit Meeting(VirtualBmcConfig config = {}, PathConditions path = {}, const ConnectionOptions& options = {},
                   const std::string& password = "kelvar-demo")
      : bmc(machine, std::move(config)), lan(bmc, path), scope(options), diagnostics(met) {
    machine.On(0x06, 0x01, {Reply({1, 2, 3, 4})});
    client = std::make_unique<IpmiClient>(Ipmi::LanTarget{"127.0.0.1", "admin", password, "623", 3}, lan.MakePort());
  }

  /// Completion code of one Get Device ID; -1 without an answer.
  int Ask() { return Ask({0x01, {}, 0x06}); }
  int Ask(const IPMICOMMAND& command) {
    u8 completionCode = 0;
    return client->send(command, response, completionCode) == 0 ? completionCode : -1;
  }

  /// Get Device ID of another place; what the transport says, negative, without an answer.
  int AskAt(const Ipmi::ControllerAddress& to) {
    u8 completionCode = 0;
    const int failure = client->SendTo(to, {0x01, {}, 0x06}, response, completionCode);
    return failure == 0 ? completionCode : -failure;
  }

  LogCapture log{0};
  ScriptedIpmi machine;
  VirtualBmc bmc;
  VirtualLan lan;
  ConnectionOptionsScope scope;
  Diagnostics met;
  DiagnosticsScope diagnostics;
  std::vector<u8> response;
  std::unique_ptr<IpmiClient> client;
};

bool IsPlus(const std::vector<u8>& datagram, Ipmi::PayloadType type) {
  return datagram.size() > 5 && datagram[4] == 6 && (datagram[5] & 0x3F) == static_cast<u8>(type);
}

TEST(IpmiHandshake, NoRightPasswordIsRefusedAndNoWrongOneTaken) {
  const PathConditions paths[] = {{.roundTrip = 270ms},
                                  {.roundTrip = 700ms},
                                  {.roundTrip = 300ms, .jitter = 300ms},
                                  {.roundTrip = 20ms, .lostPercent = 20},
                                  {.roundTrip = 300ms, .lostPercent = 10},
                                  {.roundTrip = 20ms, .jitter = 40ms, .doubledPercent = 60},
                                  {.roundTrip = 20ms, .doubledPercent = 60},
                                  {.roundTrip = 20ms, .lostPercent = 10, .doubledPercent = 50},
                                  {.service = 900ms},
                                  {.service = 3000ms}};
  int open = 0;
  int refused = 0;
  int tried = 0;
  for (PathConditions path : paths) {
    for (path.seed = 1; path.seed <= 50; ++path.seed) {
      // Which number holds is that of the last reply, as long as replies come in order.
      const VirtualBmcConfig config{.renumbers = path.seed % 2 == 0 && path.lostPercent == 0 && path.jitter == 0ms};
      ++tried;
      Meeting right(config, path);
      const CONNECTIONSTATE state = right.client->connect();
      EXPECT_NE(state, IPMIAUTHFAIL) << path.roundTrip.count() << " ms, seed " << path.seed;
      open += state == IPMICONNECTED ? 1 : 0;
      right.client->disconnect();
      Meeting wrong(config, path, {}, "wrong");
      const CONNECTIONSTATE other = wrong.client->connect();
      EXPECT_NE(other, IPMICONNECTED);
      refused += other == IPMIAUTHFAIL ? 1 : 0;
    }
  }
  // A target that loses one datagram in five may be silent for long.
  EXPECT_GE(open, tried * 97 / 100);
  EXPECT_GE(refused, tried * 97 / 100);
}

TEST(IpmiHandshake, OneWrongPasswordIsOneRefusedLogin) {
  Meeting meeting({}, {.roundTrip = 20ms}, {}, "wrong");
  EXPECT_EQ(meeting.client->connect(), IPMIAUTHFAIL);
  meeting.lan.Drain();
  EXPECT_EQ(meeting.bmc.RefusedLogins(), 1);
  EXPECT_EQ(meeting.met.Cause(), FailureCause::LoginRefused);
  EXPECT_EQ(meeting.bmc.Sessions(), 0U);
}

TEST(IpmiHandshake, NothingHalfOpenIsLeft) {
  // Each kind of reply gets lost for good once: what the target has opened by then must be closed.
  for (const auto type : {Ipmi::PayloadType::OpenSessionReply, Ipmi::PayloadType::Rakp2, Ipmi::PayloadType::Rakp4}) {
    SCOPED_TRACE(static_cast<int>(type));
    Meeting meeting({}, {.roundTrip = 20ms});
    int lost = 0;
    meeting.lan.loses = [&](bool toServer, const std::vector<u8>& datagram) {
      return !toServer && IsPlus(datagram, type) && lost++ < 5;
    };
    meeting.client->connect();
    meeting.client->disconnect();
    meeting.lan.Drain();
    EXPECT_LE(meeting.bmc.Sessions(), type == Ipmi::PayloadType::OpenSessionReply ? 4U : 0U)
        << "a session whose number was never heard of cannot be closed";
  }
}

TEST(IpmiHandshake, LoginsThatAreNeverAnsweredAreNotConfirmed) {
  // So a target that ignores unknown users sees it; servers are known that end on what would close such an attempt.
  Meeting meeting({}, {.roundTrip = 20ms});
  int confirmed = 0;
  meeting.lan.loses = [&](bool toServer, const std::vector<u8>& datagram) {
    confirmed += toServer && IsPlus(datagram, Ipmi::PayloadType::Rakp3) ? 1 : 0;
    return toServer && IsPlus(datagram, Ipmi::PayloadType::Rakp1);
  };
  EXPECT_EQ(meeting.client->connect(), IPMICONNECTFAIL);
  EXPECT_EQ(confirmed, 0);
  EXPECT_EQ(meeting.met.Cause(), FailureCause::Unreachable);
  EXPECT_EQ(meeting.met.Detail(), "no answer to the login; the user may be unknown");
}

TEST(IpmiHandshake, FullTargetIsNoRefusedLogin) {
  Meeting meeting({.mostSessions = 0});
  EXPECT_EQ(meeting.client->connect(), IPMICONNECTFAIL);
  EXPECT_EQ(meeting.met.Cause(), FailureCause::Refused);
  EXPECT_EQ(meeting.met.Detail(), "no session left on the target");
  EXPECT_EQ(meeting.lan.FromClients(), 2U) << "what it is and Open Session, which no copy has made doubtful";
}

TEST(IpmiHandshake, PrivilegeFallsHoweverItIsRefused) {
  for (const u8 status : {u8{0x09}, u8{0x0A}, u8{0x0B}, u8{0x0D}}) {
    Meeting meeting({.highestPrivilege = 2, .privilegeRefusal = status});
    EXPECT_EQ(meeting.client->connect(), IPMICONNECTED) << int{status};
    EXPECT_EQ(meeting.Ask(), 0);
    meeting.lan.Drain();
    EXPECT_EQ(meeting.bmc.Sessions(), 1U);
  }
}

TEST(IpmiHandshake, BmcKey) {
  const struct {
    const char* targetKey;
    const char* givenKey;
    CONNECTIONSTATE state;
    const char* detail;
  } cases[] = {
      {"", "", IPMICONNECTED, ""},
      {"key-of-20-bytes-----", "key-of-20-bytes-----", IPMICONNECTED, ""},
      {"key", "", IPMIAUTHFAIL, "the target has a BMC key (K_G), which must be given too"},
      {"key", "other", IPMIAUTHFAIL, "the BMC key (K_G) is not that of the target"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.givenKey);
    ConnectionOptions options;
    options.ipmi_kg_key = test.givenKey;
    Meeting meeting({.bmcKey = test.targetKey}, {}, options);
    EXPECT_EQ(meeting.client->connect(), test.state);
    EXPECT_EQ(meeting.met.Detail(), test.detail);
    EXPECT_EQ(meeting.Ask(), test.state == IPMICONNECTED ? 0 : -1);
  }
}

TEST(IpmiLanSession, ForgottenSessionIsOpenedAnewWithinTheCommand) {
  Meeting meeting({}, {.roundTrip = 50ms});
  ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
  EXPECT_EQ(meeting.Ask(), 0);
  meeting.bmc.ForgetSessions();
  EXPECT_EQ(meeting.Ask(), 0);
  EXPECT_EQ(meeting.bmc.Sessions(), 1U);
  const auto& exchanges = meeting.met.Exchanges();
  ASSERT_EQ(exchanges.size(), 4U) << "set-up, command, set-up, command";
  EXPECT_EQ(exchanges[2].request, "open session");
  EXPECT_EQ(exchanges[3].request, "netfn 0x6 command 0x1");
  EXPECT_EQ(exchanges[3].transmissions, 5U);
}

TEST(IpmiLanSession, CommandThatIsNeverAnsweredCostsOneSession) {
  Meeting meeting({}, {.roundTrip = 20ms});
  ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
  meeting.machine.On(0x3A, 0x50, {NoExchange()});
  EXPECT_EQ(meeting.Ask({0x50, {}, 0x3A}), -1);
  EXPECT_EQ(meeting.Ask({0x50, {}, 0x3A}), -1);
  EXPECT_EQ(meeting.Ask(), 0);
  std::size_t setUps = 0;
  for (const DiagnosticExchange& exchange : meeting.met.Exchanges()) {
    setUps += exchange.request == "open session" ? 1U : 0U;
  }
  EXPECT_EQ(setUps, 2U);
  EXPECT_EQ(meeting.bmc.Sessions(), 1U) << "the one that seemed lost is closed";
  EXPECT_EQ(meeting.met.Cause(), FailureCause::Unreachable);
}

TEST(IpmiLanSession, SilenceThatOpensNoSessionIsLookedInto) {
  Meeting meeting({}, {.roundTrip = 20ms});
  meeting.machine.Elsewhere(0x2C).On(0x06, 0x01, {Reply({0x2C})});
  meeting.machine.On(0x3A, 0x50, {NoExchange()});
  ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
  EXPECT_EQ(meeting.Ask({0x50, {}, 0x3A}), -1);
  for (const bool lost : {false, true}) {
    for (const bool satellite : {false, true}) {
      meeting.machine.Elsewhere(0x2C).On(0x06, 0x01, {lost ? Reply({0x2C}) : NoExchange()});
      if (lost) {
        meeting.bmc.ForgetSessions();
      }
      EXPECT_NE(satellite ? meeting.AskAt({0x2C, 0, 0}) : meeting.Ask({0x50, {}, 0x3A}), 0);
      EXPECT_EQ(meeting.client->RenewIfLost(), lost) << satellite;
      EXPECT_FALSE(meeting.client->RenewIfLost()) << "there is no silence to look into";
      EXPECT_EQ(satellite && lost ? meeting.AskAt({0x2C, 0, 0}) : meeting.Ask(), 0);
    }
  }
  EXPECT_EQ(meeting.bmc.Sessions(), 1U);
}

TEST(IpmiLanSession, RefusedLoginIsNotTriedAgain) {
  Meeting meeting;
  ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
  // The password is changed while the session is forgotten: one login is refused, and no further one is tried.
  meeting.bmc.SetPassword("another");
  meeting.bmc.ForgetSessions();
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(meeting.client->IsLoggedOut(), round > 0);
    EXPECT_EQ(meeting.Ask(), -1);
  }
  meeting.lan.Drain();
  EXPECT_EQ(meeting.bmc.RefusedLogins(), 1);
  EXPECT_EQ(meeting.met.Cause(), FailureCause::LoginRefused);
}

TEST(IpmiLanSession, OneRefusedLoginStopsTheWholeScope) {
  ConnectionOptions options;
  options.stop_after_refused_login = true;
  Meeting meeting({}, {}, options, "wrong");
  EXPECT_EQ(meeting.client->connect(), IPMIAUTHFAIL);
  meeting.client.reset();  // time passes only while all ports wait
  IpmiClient second(Ipmi::LanTarget{"127.0.0.1", "admin", "wrong", "623", 3}, meeting.lan.MakePort());
  const std::size_t sent = meeting.lan.FromClients();
  EXPECT_EQ(second.connect(), IPMIAUTHFAIL);
  EXPECT_EQ(meeting.lan.FromClients(), sent);
  EXPECT_EQ(meeting.met.Exchanges().back().cause, FailureCause::LoginRefused);
}

TEST(IpmiLanSession, BusyStorageIsAskedAgainAfterGrowingPauses) {
  const IPMICOMMAND read{0x11, {0, 0, 0, 16}, 0x0A};
  Meeting meeting;
  ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
  meeting.machine.On(0x0A, 0x11, {Refuse(0xC0), Refuse(0x81), Refuse(0xC0), Reply({1, 7})});
  EXPECT_EQ(meeting.Ask(read), 0);
  EXPECT_EQ(meeting.lan.Elapsed(), 50ms + 100ms + 200ms);
  meeting.machine.On(0x0A, 0x11, {Refuse(0xC0)});
  EXPECT_EQ(meeting.Ask(read), 0xC0);
  EXPECT_LT(meeting.lan.Elapsed(), 5s);
  EXPECT_EQ(meeting.met.Exchanges().back().transmissions, 7U);
}

TEST(IpmiBridging, RepliesComeInAnyOrder) {
  for (const Bridging bridging : {Bridging::AckFirst, Bridging::ReplyFirst, Bridging::Embedded}) {
    for (const PathConditions& path : {PathConditions{.roundTrip = 20ms}, PathConditions{.jitter = 40ms}}) {
      Meeting meeting({.bridging = bridging}, path);
      meeting.machine.Elsewhere(0x2C).On(0x06, 0x01, {Reply({0x2C})});
      meeting.machine.Elsewhere(0x20, 3).On(0x06, 0x01, {Reply({3})});
      ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
      for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(meeting.AskAt({0x2C, 0, 0}), 0);
        EXPECT_EQ(meeting.response, Bytes{0x2C});
        EXPECT_EQ(meeting.AskAt({0x20, 0, 3}), 0);
        EXPECT_EQ(meeting.response, Bytes{3});
        EXPECT_EQ(meeting.Ask(), 0);
        EXPECT_EQ(meeting.response, (Bytes{1, 2, 3, 4}));
      }
      EXPECT_EQ(meeting.machine.Elsewhere(0x2C).commands.size(), 20U);
      EXPECT_EQ(meeting.met.Cause(), FailureCause::None);
    }
  }
}

TEST(IpmiBridging, SilenceCostsItsOwnWaitsAndNoSession) {
  for (const Bridging bridging : {Bridging::Mute, Bridging::Spoiled}) {
    Meeting meeting({.bridging = bridging}, {.roundTrip = 20ms});
    meeting.machine.Elsewhere(0x2C).On(0x06, 0x01, {Reply({0x2C})});
    meeting.machine.Elsewhere(0x20, 1).On(0x06, 0x01, {NoExchange()});
    ASSERT_EQ(meeting.client->connect(), IPMICONNECTED);
    const auto start = meeting.lan.Elapsed();
    EXPECT_EQ(meeting.AskAt({0x2C, 0, 0}), -Ipmi::kSendNoAnswer);
    EXPECT_EQ(meeting.AskAt({0x20, 0, 1}), -Ipmi::kSendNoAnswer);
    EXPECT_EQ(meeting.lan.Elapsed() - start, 2 * (1000ms + 2000ms));
    EXPECT_EQ(meeting.AskAt({0x2E, 0, 0}), -Ipmi::kSendNotHandedOn);
    EXPECT_EQ(meeting.Ask(), 0);
    EXPECT_EQ(meeting.met.Exchanges().size(), 5U) << "one set-up, four commands";
    EXPECT_EQ(meeting.met.Exchanges()[3].response, "not handed on: completion code 0x83");
    EXPECT_EQ(meeting.met.Cause(), FailureCause::NotOffered) << "the target itself has answered";
  }
}

/// Several Get Device ID with numbers, which the machine repeats.
std::vector<Ipmi::QueuedCommand> Numbered(u8 count) {
  std::vector<Ipmi::QueuedCommand> commands;
  for (u8 number = 0; number < count; ++number) {
    commands.push_back({{0x01, {number}, 0x06}});
  }
  return commands;
}

std::size_t Answered(const std::vector<Ipmi::QueuedCommand>& commands) {
  std::size_t answered = 0;
  for (const Ipmi::QueuedCommand& queued : commands) {
    answered += queued.answered ? 1U : 0U;
    if (queued.answered) {
      EXPECT_EQ(queued.response, queued.command.data) << "of another command";
    }
  }
  return answered;
}

/// A target whose window nothing is known of.
struct Window {
  explicit Window(PathConditions path) : meeting((Ipmi::CommandWindow::ForgetAll(), VirtualBmcConfig()), path) {
    meeting.machine.On(0x06, 0x01, [](const Bytes& request) { return Reply(request); });
    EXPECT_EQ(meeting.client->connect(), IPMICONNECTED);
  }
  std::size_t Send(u8 count) {
    commands = Numbered(count);
    meeting.client->SendAhead(commands);
    return Answered(commands);
  }
  static u32 Size() { return Ipmi::CommandWindow::Of("127.0.0.1:623").Size(); }

  Meeting meeting;
  std::vector<Ipmi::QueuedCommand> commands;
};

TEST(IpmiWindow, GrowsOverAFarPathAndSavesRoundTrips) {
  Window window({.roundTrip = 100ms});
  const auto start = window.meeting.lan.Elapsed();
  EXPECT_EQ(window.Send(94), 94U);
  // Two with one under way, four with two, eight with four, ten times eight.
  EXPECT_EQ(window.meeting.lan.Elapsed() - start, 100ms * (2 + 2 + 2 + 10));
  EXPECT_EQ(Window::Size(), 8U);
  // The process remembers it for another session.
  window.meeting.client->disconnect();
  EXPECT_EQ(window.meeting.client->connect(), IPMICONNECTED);
  const auto again = window.meeting.lan.Elapsed();
  EXPECT_EQ(window.Send(80), 80U);
  EXPECT_EQ(window.meeting.lan.Elapsed() - again, 1000ms);
  EXPECT_EQ(window.meeting.Ask(), 0) << "single commands go on";
}

TEST(IpmiWindow, ASlowTargetIsNotTakenForALoss) {
  Window window({.service = 700ms});
  EXPECT_EQ(window.Send(40), 40U);
  EXPECT_EQ(window.meeting.machine.commands.size(), 40U) << "nothing is sent twice";
}

TEST(IpmiWindow, FallsToOneAtALossAndIsSmallerFromThenOn) {
  Window window({.roundTrip = 20ms});
  EXPECT_EQ(window.Send(30), 30U);
  for (const u32 most : {4U, 2U, 1U}) {
    int lost = 0;
    window.meeting.lan.loses = [&](bool toServer, const std::vector<u8>&) { return toServer && lost++ == 20; };
    EXPECT_LT(window.Send(40), 40U);
    EXPECT_EQ(Window::Size(), 1U);
    window.meeting.lan.loses = nullptr;
    window.Send(60);
    EXPECT_EQ(Window::Size(), most);
  }
  EXPECT_EQ(window.Send(10), 0U) << "nothing is sent ahead any more";
  EXPECT_EQ(window.meeting.Ask(), 0);
}

TEST(IpmiWindow, DisorderAndBusyTargetsMakeItFall) {
  {
    Window window({.roundTrip = 20ms, .jitter = 30ms});
    while (Window::Size() > 1 || Ipmi::CommandWindow::Of("127.0.0.1:623").IsOpen()) {
      window.Send(60);  // each answer is checked to be that of its command
    }
    EXPECT_EQ(window.meeting.met.Cause(), FailureCause::None);
  }
  Window window({.roundTrip = 20ms});
  window.Send(30);
  int asked = 0;
  window.meeting.machine.On(0x06, 0x01,
                            [&](const Bytes& request) { return ++asked == 5 ? Refuse(0xC0) : Reply(request); });
  std::vector<Ipmi::QueuedCommand> commands = Numbered(40);
  window.meeting.client->SendAhead(commands);
  EXPECT_EQ(commands[4].completionCode, 0xC0);
  EXPECT_TRUE(commands[11].answered) << "it was under way";
  EXPECT_FALSE(commands[13].answered);
  EXPECT_EQ(Window::Size(), 1U);
}

TEST(IpmiLanSession, SilenceAndPortsAreBounded) {
  Meeting meeting;
  meeting.lan.loses = [](bool, const std::vector<u8>&) { return true; };
  EXPECT_EQ(meeting.client->connect(), IPMICONNECTFAIL);
  EXPECT_LE(meeting.lan.Elapsed(), 10s);
  EXPECT_EQ(meeting.met.Cause(), FailureCause::Unreachable);
  EXPECT_FALSE(meeting.met.ServiceUnderstood());
}

TEST(IpmiBound, OperationEndsWithWhatItHasRead) {
  ConnectionOptions options;
  options.operation_limit_seconds = 60;
  Meeting meeting({}, {.service = 500ms}, options);
  Bytes fru(528, 'A');
  fru[3] = 1;
  meeting.machine.AddFRU(0, fru);
  // A chain of records that goes on for as long as anybody asks.
  meeting.machine.On(0x0A, 0x23, [](const Bytes& request) {
    const u8 next = static_cast<u8>(request.at(2) + 1U);
    return Reply(Bytes{next, request.at(3), 0, 0, 0x51, 0x01, 10});
  });
  NodeFirmwareInventoryImpIPMI inventory({}, std::move(meeting.client));
  std::vector<OtherSystemVPD> list;
  const auto start = meeting.lan.Elapsed();
  EXPECT_EQ(inventory.GetNodeOtherSystemVPD(list), 0);
  EXPECT_EQ(list.size(), 1U);
  EXPECT_LE(meeting.lan.Elapsed() - start, 61s);
  ASSERT_FALSE(meeting.met.Gaps().empty());
  EXPECT_EQ(meeting.met.Gaps()[0].kind, GapKind::Truncated);
  EXPECT_EQ(meeting.met.Gaps()[0].cause, FailureCause::Deadline);
}

}  // namespace
}  // namespace Kelvar::Test
