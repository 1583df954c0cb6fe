// Who may log in where, and who waits. Also which targets a pattern allows.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "tools/kelvar/HostAddress.h"
#include "tools/kelvar/serve/LoginGate.h"
#include "tools/kelvar/serve/TargetFilter.h"

namespace Kelvar::Test {
namespace {

using namespace Tool;
using namespace Tool::Serve;

struct Gate {
  LoginGate::Clock::time_point now{};
  LoginGate gate{2, [this] { return now; }};
};

TEST(LoginGate, KeepsOthersOutForFiveMinutesAfterARefusal) {
  Gate gate;
  LoginGate::Visit(gate.gate, {"one", "other address of it"}).Refuse();
  {
    const LoginGate::Visit again(gate.gate, {"other address of it"});
    EXPECT_TRUE(again.WasRefused());
    EXPECT_EQ(again.Refusal(), "login was refused earlier; next attempt in 300 s");
    EXPECT_EQ(LoginGate::Visit(gate.gate, {"two"}).Refusal(), "");
  }
  gate.now += std::chrono::seconds(299);
  EXPECT_EQ(LoginGate::Visit(gate.gate, {"one"}).Refusal(), "login was refused earlier; next attempt in 1 s");
  gate.now += std::chrono::seconds(1);
  EXPECT_EQ(LoginGate::Visit(gate.gate, {"one"}).Refusal(), "");
}

TEST(LoginGate, LetsFewReadingsOfOnePlaceIn) {
  Gate gate;
  LoginGate::Visit first(gate.gate, {"one"});
  first.LetIn();
  const LoginGate::Visit second(gate.gate, {"one", "two"});
  EXPECT_EQ(second.Refusal(), "");
  const LoginGate::Visit third(gate.gate, {"one"});
  EXPECT_EQ(third.Refusal(), "2 readings of this target are under way");
  EXPECT_FALSE(third.WasRefused());
  EXPECT_EQ(LoginGate::Visit(gate.gate, {"two"}).Refusal(), "");
}

TEST(LoginGate, LetsOneTryTheAccountWhileOthersWait) {
  for (const bool good : {true, false}) {
    Gate gate;
    auto first = std::make_unique<LoginGate::Visit>(gate.gate, LoginGate::Places{"one"});
    std::atomic<bool> entered{false};
    std::string refusal;
    std::thread other([&] {
      const LoginGate::Visit second(gate.gate, {"one"});
      refusal = second.Refusal();
      entered = true;
    });
    EXPECT_FALSE(entered);
    good ? first->LetIn() : first->Refuse();
    other.join();
    EXPECT_EQ(refusal.empty(), good);
  }
}

TEST(LoginGate, KnowsAnAccountUnderEverySpelling) {
  const LoginGate::Places place = LoginGate::PlacesOf(ParseTarget("redfish://admin@127.0.0.1"));
  for (const char* const same :
       {"redfish://admin@127.0.0.1:443", "redfish://admin@127.1", "redfish://admin@LOCALHOST",
        "redfish://admin@localhost:443", "redfish://admin@[::ffff:127.0.0.1]:443", "redfish://admin@2130706433"}) {
    const LoginGate::Places places = LoginGate::PlacesOf(ParseTarget(same));
    EXPECT_NE(std::find(places.begin(), places.end(), place.front()), places.end()) << same;
  }
  for (const char* const other :
       {"redfish://admin@127.0.0.1:8443", "redfish://root@127.0.0.1", "redfish://admin@127.0.0.2"}) {
    EXPECT_NE(LoginGate::PlacesOf(ParseTarget(other)), place) << other;
  }
}

TEST(HostAddress, HasOneSpelling) {
  for (const char* host : {"127.0.0.1", "127.1", "0x7f.1", "2130706433", "::ffff:127.0.0.1"}) {
    EXPECT_EQ(AddressesOf(host), std::vector<std::string>{"127.0.0.1"}) << host;
  }
  EXPECT_EQ(AddressesOf("0:0::1"), std::vector<std::string>{"::1"});
  EXPECT_EQ(AddressesOf("No-Such-Host.invalid."), std::vector<std::string>{"no-such-host.invalid"});
}

TEST(TargetFilter, LetsNoAddressThroughThatAPatternDoesNotLookLike) {
  const struct {
    const char* pattern;
    const char* target;
    bool allowed;
  } cases[] = {
      {"redfish://*:*", "redfish://bmc:8443", true},         {"redfish://*:*", "redfish://[::1]:443", false},
      {"redfish://*:*", "redfish://2130706433", false},      {"redfish://*:*", "redfish://0x7f000001", false},
      {"redfish://*:*", "redfish://bmc.example", false},     {"redfish://127.*", "redfish://127.1", false},
      {"redfish://10.0.0.*", "redfish://10.0.0.0x7", true},  {"redfish://[fd00::*]", "redfish://[fd00::7]", true},
      {"redfish://[fd00::*]", "redfish://bmc", false},       {"ipmi://*", "ipmi://bmc?suite=17", true},
      {"ipmi://*", "ipmi://bmc?kg-file=/etc/passwd", false}, {"ipmi://*", "ipmi://bmc?session=1.5-password", false},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(TargetFilter({one.pattern}).Allows(ParseTarget(one.target)), one.allowed)
        << one.pattern << " " << one.target;
  }
}

}  // namespace
}  // namespace Kelvar::Test
