// The component list over IPMI, for machines of 5, 20 and 100 FRU Device Locators served by the simulator: commands
// sent, time against a bare loop of the same commands on the same kind of client, and memory.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "bench/Rows.h"
#include "bench/ipmi_components/LiveHeap.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/BmcSim.h"
#include "transport/ipmi/IpmiClient.h"

namespace {

using namespace Kelvar;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kCommandsADevice = 33;
constexpr std::size_t kCommandsALocator = 2;

/// Hands everything on, and keeps what was sent when asked to.
class RecordingClient final : public IpmiClientInterface {
 public:
  RecordingClient(IpmiClientInterface& client, std::vector<IPMICOMMAND>* commands)
      : client_(client), commands_(commands) {}
  CONNECTIONSTATE connect() override { return IPMICONNECTED; }
  void disconnect() override {}
  int send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) override {
    if (commands_ != nullptr) {
      commands_->push_back(command);
    }
    return client_.send(command, response, completionCode);
  }
  void setBlockLength(const u16& /*length*/) override {}

 private:
  IpmiClientInterface& client_;
  std::vector<IPMICOMMAND>* commands_;
};

/// A folder with a machine of that many locators, each with a FRU device of its own; goes with the object.
class MachineFolder {
 public:
  explicit MachineFolder(int locators)
      : path_(std::filesystem::temp_directory_path() /
              ("kelvar-bench-" + std::to_string(getpid()) + "-" + std::to_string(locators))) {
    std::filesystem::create_directories(path_);
    std::ofstream(path_ / "machine.json")
        << R"({"name": "bench", "description": "bench", "accounts": [{"user": "admin", "password": "bench"}]})";
    std::ofstream ipmi(path_ / "ipmi.json");
    ipmi << R"({"guid": "6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41", "device": {"deviceId": 32, "deviceRevision": 1,)"
         << R"( "firmwareRevision": "1.0", "deviceSupport": 191, "manufacturerId": 1, "productId": 1}, "fru": [)";
    for (int id = 0; id <= locators; ++id) {
      ipmi << (id > 0 ? "," : "") << R"({"id": )" << id << R"(, "size": 640, "board": {"lead": "00 00 00 00",)"
           << R"( "fields": [{"text": "Vendor", "width": 30}, {"text": "Board", "width": 32}]}})";
    }
    ipmi << R"(], "sdr": [)";
    for (int id = 1; id <= locators; ++id) {
      ipmi << (id > 1 ? "," : "") << R"({"fru": )" << id << R"(, "entity": 7, "instance": )" << id % 96 + 1
           << R"(, "name": "Board )" << id << R"("})";
    }
    ipmi << "]}";
  }
  ~MachineFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string Path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

double CpuSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

struct Run {
  double seconds = 0;
  double cpuSeconds = 0;
  std::size_t components = 0;
  std::size_t peak = 0;
};

Run ListComponents(IpmiClientInterface& client, std::vector<IPMICOMMAND>* commands = nullptr) {
  NodeFirmwareInventoryImpIPMI backend({}, std::make_unique<RecordingClient>(client, commands));
  std::vector<OtherSystemVPD> list;
  const std::size_t before = Bench::LiveBytes();
  Bench::ResetPeak();
  const double cpuBefore = CpuSeconds();
  const auto start = Clock::now();
  backend.GetNodeOtherSystemVPD(list);
  return {std::chrono::duration<double>(Clock::now() - start).count(), CpuSeconds() - cpuBefore, list.size(),
          Bench::PeakBytes() - before};
}

Run SendAll(IpmiClientInterface& client, const std::vector<IPMICOMMAND>& commands) {
  std::vector<u8> response;
  u8 completionCode = 0;
  const double cpuBefore = CpuSeconds();
  const auto start = Clock::now();
  for (const IPMICOMMAND& command : commands) {
    client.send(command, response, completionCode);
  }
  return {std::chrono::duration<double>(Clock::now() - start).count(), CpuSeconds() - cpuBefore};
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

bool Measure(const Bench::BenchOptions& options, int locators) {
  const MachineFolder folder(locators);
  const Test::BmcSim sim(folder.Path(), {"--serve", "ipmi"});
  IpmiClient client("127.0.0.1", "admin", "bench", std::to_string(sim.Port("ipmi")), 3);
  if (client.connect() != IPMICONNECTED) {
    std::fprintf(stderr, "no connection to the simulator\n");
    return false;
  }
  std::vector<IPMICOMMAND> commands;
  Run run = ListComponents(client, &commands);
  const int rounds = options.Quick() ? 7 : 21;
  std::vector<double> ratios;
  std::vector<double> seconds;
  std::vector<double> bareSeconds;
  double cpuSeconds = 0;
  double bareCpuSeconds = 0;
  for (int round = 0; round < rounds; ++round) {
    // Each goes first in every other round.
    const Run bareBefore = round % 2 == 0 ? SendAll(client, commands) : Run();
    run = ListComponents(client);
    const Run bare = round % 2 == 0 ? bareBefore : SendAll(client, commands);
    ratios.push_back(run.seconds / bare.seconds);
    seconds.push_back(run.seconds);
    bareSeconds.push_back(bare.seconds);
    cpuSeconds += run.cpuSeconds;
    bareCpuSeconds += bare.cpuSeconds;
  }
  // Device 0 and the reservation are asked for once, whatever the number of locators.
  const std::size_t expected =
      kCommandsADevice + 1 + static_cast<std::size_t>(locators) * (kCommandsADevice + kCommandsALocator);
  std::printf("%8d %11zu %9zu %9zu %10.2f %10.3f %12zu %12.0f\n", locators, run.components, commands.size(), expected,
              Median(seconds) * 1000, Median(ratios), run.peak,
              static_cast<double>(run.peak) / static_cast<double>(locators));
  options.Print({"IPMI components, " + std::to_string(locators) + " locators",
                 "the same commands, bare",
                 {Median(seconds), cpuSeconds / rounds},
                 {Median(bareSeconds), bareCpuSeconds / rounds},
                 static_cast<double>(commands.size())});
  return commands.size() == expected && run.components == static_cast<std::size_t>(locators) + 1;
}

}  // namespace

int main(int argc, char** argv) {
  const Bench::BenchOptions options(argc, argv);
  std::printf("%8s %11s %9s %9s %10s %10s %12s %12s\n", "locators", "components", "commands", "expected", "ms",
              "time/bare", "peak bytes", "a locator");
  bool right = true;
  for (const int locators : {5, 20, 100}) {
    right = Measure(options, locators) && right;
  }
  return right ? 0 : 1;
}
