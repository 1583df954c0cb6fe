// All operations over paths that are far, slow, lossy and crowded, in virtual time.

#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>

#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/VirtualLan.h"
#include "transport/ipmi/IpmiClient.h"
#include "transport/ipmi/LanTransport.h"

namespace Kelvar::Test {
namespace {

constexpr int kComponents = 10;

Bytes BoardFru(const std::string& name) {
  Bytes fru(256);
  fru[0] = 1;
  fru[3] = 1;  // the board area begins at byte 8
  const struct {
    std::size_t offset;
    std::string text;
  } texts[] = {{7, "Tavrik"}, {38, name}, {71, "S-" + name}, {102, "P-" + name}, {134, "F-" + name}};
  for (const auto& field : texts) {
    std::copy(field.text.begin(), field.text.end(), fru.begin() + static_cast<std::ptrdiff_t>(8 + field.offset));
  }
  return fru;
}

/// A machine that answers every command of every operation.
void Fill(ScriptedIpmi& machine) {
  machine.On(0x3A, 0x50, {Reply(BytesOf("TBC128K  2026-03-14"))});
  machine.On(0x06, 0x01, {Reply({0x20, 0x01, 0x02, 0x45, 0x02})});
  machine.On(0x3A, 0xC1, {Reply({0x00, 0x01})});
  machine.On(0x3A, 0xC4, {Reply(BytesOf("....2026-03-14"))});
  machine.On(0x3A, 0x0B, [](const Bytes& request) { return Reply(Bytes(request.at(3), 'V')); });
  machine.On(0x3C, 0x40, {Reply(BytesOf("AMB114E207"))});
  machine.AddFRU(0, BoardFru("Board"));
  for (u8 device = 1; device < kComponents; ++device) {
    machine.AddFRU(device, BoardFru("Part" + std::to_string(device)));
    machine.AddSDR(ScriptedIpmi::Locator(device, "Part " + std::to_string(device)));
  }
}

/// What all operations give, codes included.
std::vector<std::string> ReadAll(NodeFirmwareInventoryImpIPMI& inventory) {
  std::vector<std::string> lines;
  const auto add = [&](int code, const std::string& text) { lines.push_back(std::to_string(code) + " " + text); };
  KelvarAgentless::ComputerSystem system;
  int code = inventory.GetHardwareInfoComputerSystem(system);
  add(code, system.ProductName + "|" + system.SerialNumber + "|" + system.SystemGUID);
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  code = inventory.GetNodeFirmwareBuildID(builds);
  add(code, builds.empty() ? "" : std::string(builds[0].BMCBuildID) + "|" + builds[0].QDGpBuildIDDate);
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  code = inventory.GetNodeFirmwareSystemVPD(vpd);
  add(code, vpd.MachineType);
  std::vector<KelvarOptions::SoftwareIdentity_> identities;
  code = inventory.GetNFWSoftwareIdentity(identities);
  add(code, std::to_string(identities.size()));
  std::vector<OtherSystemVPD> components;
  code = inventory.GetNodeOtherSystemVPD(components);
  for (const OtherSystemVPD& component : components) {
    add(code, component.Name + "|" + component.PartNumber + "|" + component.SerialNumber);
  }
  return lines;
}

struct Reading {
  bool connected = false;
  std::vector<std::string> lines;
  u64 gaps = 0;
};

Reading ReadOver(std::unique_ptr<Ipmi::DatagramPort> port) {
  ConnectionOptions options;
  options.operation_limit_seconds = 0;
  const ConnectionOptionsScope scope(options);
  Diagnostics met;
  const DiagnosticsScope diagnostics(met);
  Reading reading;
  {
    NodeFirmwareInventoryImpIPMI inventory(
        {},
        std::make_unique<IpmiClient>(Ipmi::LanTarget{"127.0.0.1", "admin", "kelvar-demo", "623", 3}, std::move(port)));
    reading.connected = met.ServiceUnderstood();
    reading.lines = ReadAll(inventory);
  }
  EXPECT_NE(met.Cause(), FailureCause::LoginRefused);
  reading.gaps = met.GapCount();
  return reading;
}

struct Case {
  const char* name;
  PathConditions path;
  std::size_t readers = 1;
  bool mayMiss = false;   ///< a reading may lack something, and then says so
  double copies = 0;      ///< at most, for each command
  double slowness = 1.2;  ///< time at most, over what the commands take one after the other
};

constexpr milliseconds operator""_ms(unsigned long long count) {
  return milliseconds(count);
}

// One client has all of its way; more than one share a target, which takes them in turn.
const Case kCases[] = {
    {"at once", {}},
    {"20 ms", {20_ms}},
    {"150 ms", {150_ms}},
    {"270 ms", {270_ms}, 1, false, 0.02},
    {"300 ms", {300_ms}, 1, false, 0.02},
    {"700 ms", {700_ms}, 1, false, 0.02},
    {"jitter", {150_ms, 150_ms}, 1, false, 0.02, 1.5},
    {"0.1 s a command", {.service = 100_ms}},
    {"0.9 s a command", {.service = 900_ms}, 1, false, 0.02},
    {"3 s a command", {.service = 3000_ms}, 1, false, 0.03},
    {"far and slow", {.roundTrip = 300_ms, .service = 500_ms}, 1, false, 0.02},
    {"1 % lost", {.roundTrip = 20_ms, .lostPercent = 1}, 1, false, 0.1, 2},
    {"5 % lost", {.roundTrip = 20_ms, .lostPercent = 5}, 1, false, 0.3, 4},
    {"20 % lost", {.roundTrip = 20_ms, .lostPercent = 20}, 1, true, 1.2, 25},
    {"5 % lost, far", {.roundTrip = 300_ms, .lostPercent = 5}, 1, false, 0.3, 2},
    {"doubled", {.roundTrip = 20_ms, .doubledPercent = 50}},
    {"doubled, reordered", {.roundTrip = 100_ms, .jitter = 100_ms, .doubledPercent = 50}, 1, false, 0.1, 2},
    {"doubled, lost", {.roundTrip = 20_ms, .lostPercent = 5, .doubledPercent = 30}, 1, true, 0.3, 4},
    {"two readers", {.service = 20_ms}, 2, true},
    {"eight readers", {.service = 20_ms}, 8, true, 0.3, 1.3},
    {"eight readers, slow", {.service = 200_ms}, 8, true, 0.5, 1.6},
};

class IpmiConditions : public testing::TestWithParam<Case> {};

TEST_P(IpmiConditions, NothingIsLostSilently) {
  const Case& c = GetParam();
  const LogCapture log(0);
  ScriptedIpmi machine;
  Fill(machine);
  NodeFirmwareInventoryImpIPMI direct({}, machine.Transport());
  const std::vector<std::string> expected = ReadAll(direct);
  ASSERT_EQ(expected.size(), 4U + kComponents);
  const auto commands = static_cast<double>(machine.commands.size() * c.readers);
  machine.commands.clear();
  VirtualBmc bmc(machine);
  VirtualLan lan(bmc, c.path);
  std::vector<std::unique_ptr<Ipmi::DatagramPort>> ports;
  std::generate_n(std::back_inserter(ports), c.readers, [&] { return lan.MakePort(); });
  std::vector<Reading> readings(c.readers);
  std::vector<std::thread> threads;
  for (std::size_t reader = 0; reader < c.readers; ++reader) {
    threads.emplace_back([&, reader] { readings[reader] = ReadOver(std::move(ports[reader])); });
  }
  std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
  for (const Reading& reading : readings) {
    EXPECT_TRUE(reading.connected);
    if (c.mayMiss && reading.gaps > 0) {
      continue;
    }
    EXPECT_EQ(reading.lines, expected);
  }
  constexpr double kSetUp = 12;  // with what closes it, and copies before anything is known of the target
  EXPECT_LE(static_cast<double>(lan.FromClients()),
            commands * (1 + c.copies) + kSetUp * static_cast<double>(c.readers));
  const double each = static_cast<double>((c.path.roundTrip + c.path.jitter + c.path.service).count());
  EXPECT_LE(static_cast<double>(lan.Elapsed().count()), (commands + kSetUp) * each * c.slowness + 1000);
  lan.Drain();
  if (c.path.lostPercent < 20) {
    EXPECT_EQ(bmc.Sessions(), 0U) << "sessions left on the target";
  }
  if (c.path.doubledPercent == 0) {
    EXPECT_EQ(bmc.RefusedLogins(), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, IpmiConditions, testing::ValuesIn(kCases), [](const auto& test) {
  std::string name = test.param.name;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
});

}  // namespace
}  // namespace Kelvar::Test
