// Redfish operations against what a bare program needs for the same, over HTTPS on loopback. Every job runs in a
// process of its own; times are the fastest round, CPU time is the client's alone.

#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventory.h>

#include "bench/Rows.h"
#include "bench/redfish/Bodies.h"
#include "bench/redfish/Child.h"
#include "support/ScriptedHttpServer.h"

namespace Kelvar::Bench {
namespace {

using Test::HttpReply;
using Test::ScriptedHttpServer;

void Script(ScriptedHttpServer& server, const std::string& entries) {
  server.On("/redfish/v1/Systems", HttpReply(Collection("/redfish/v1/Systems/1")));
  server.On("/redfish/v1/Systems/1", HttpReply(System()));
  server.On("/redfish/v1/Systems/1/LogServices",
            HttpReply(Collection("/redfish/v1/Systems/1/LogServices/StandardLog")));
  server.On(kEntries, HttpReply(entries));
  server.On("/redfish/v1/Chassis/1", HttpReply(Chassis()));
  server.On("/redfish/v1/Chassis/1/Sensors?$expand=.($levels=1)", HttpReply(Sensors(2000)));
  server.On("/redfish/v1/UpdateService/FirmwareInventory?$expand=.($levels=1)", HttpReply(FirmwareInventory(30)));
}

/// The best of several turns, in which both jobs see the same weather.
std::pair<Measured, Measured> InTurns(const std::string& job, const std::string& against, u16 port, int rounds) {
  constexpr int kTurns = 3;
  Measured one = RunChild(job, port, rounds);
  Measured other = RunChild(against, port, rounds);
  for (int turn = 1; turn < kTurns; ++turn) {
    one.Improve(RunChild(job, port, rounds));
    other.Improve(RunChild(against, port, rounds));
  }
  return {one, other};
}

Spent ToSpent(const Measured& measured) {
  return {measured.seconds, measured.cpuSeconds, measured.peakMiB};
}

struct Traffic {
  double requests;
  double connections;
};

/// What the server sees of one run of a job.
Traffic Count(const ScriptedHttpServer& server, const std::string& job) {
  constexpr int kRounds = 9;  // and one before them
  const auto requests = server.Requests().size();
  const int connections = server.ConnectionCount();
  RunChild(job, server.Port(), kRounds);
  return {static_cast<double>(server.Requests().size() - requests) / (kRounds + 1),
          static_cast<double>(server.ConnectionCount() - connections)};
}

void Compare(const BenchOptions& options, const ScriptedHttpServer& server, const char* title, const std::string& job,
             int rounds) {
  const auto [one, other] = InTurns(job, "bare-" + job, server.Port(), options.Quick() ? rounds / 3 : rounds);
  std::printf("%-44s %9.3f %9.3f %7.2f %7.2f\n", title, one.seconds * 1e3, other.seconds * 1e3,
              one.seconds / other.seconds, one.cpuSeconds / other.cpuSeconds);
  const Traffic traffic = Count(server, job);
  options.Print({std::string("Redfish ") + title, "libcurl + RapidJSON", ToSpent(one), ToSpent(other), traffic.requests,
                 traffic.connections});
}

void Operations(const BenchOptions& options, const ScriptedHttpServer& server) {
  std::printf("operations against a bare libcurl program that sends the same requests, and RapidJSON\n");
  std::printf("%-44s %9s %9s %7s %7s\n", "", "ms", "bare ms", "wall", "CPU");
  Compare(options, server, "identity", "identity", 1000);
  Compare(options, server, "firmware, 30 components", "firmware", 1000);
  Compare(options, server, "sensors, 2,000", "sensors", 30);
  std::printf("\n");
}

void Readers(u16 port, double megabytes) {
  std::printf("readers, on a log of %.1f MB\n%-44s %9s %9s\n", megabytes, "", "MB/s", "peak MiB");
  const std::pair<const char*, const char*> jobs[] = {{"parse-tree", "tree reader, by the property tree's parser"},
                                                      {"parse-in-place", "tree reader, in place"},
                                                      {"parse-document", "document reader"}};
  for (const auto& [job, title] : jobs) {
    const Measured measured = RunChild(job, port, 5);
    std::printf("%-44s %9.0f %9.1f\n", title, megabytes / measured.seconds, measured.peakMiB);
  }
  std::printf("\n");
}

void Logs(const BenchOptions& options, ScriptedHttpServer& server, const std::vector<int>& counts, const char* kind,
          std::string (*entries)(int)) {
  std::printf(
      "message log: the whole operation against one property tree of the body, and against its transfer alone\n");
  std::printf("%-9s %6s %9s %9s %9s %7s %7s %9s %9s\n", "entries", "MB", "ms", "tree ms", "bare ms", "wall", "CPU",
              "peak MiB", "start MiB");
  for (const int count : counts) {
    if (options.Quick() && count > 10'000) {
      continue;
    }
    const std::string body = entries(count);
    server.On(kEntries, HttpReply(body));
    const auto [operation, tree] = InTurns("log", "parse-tree", server.Port(), count > 20'000 ? 1 : 3);
    const Measured bare = RunChild("bare-log", server.Port(), 3);
    std::printf("%-9d %6.1f %9.2f %9.2f %9.2f %7.2f %7.2f %9.1f %9.1f\n", count, static_cast<double>(body.size()) / 1e6,
                operation.seconds * 1e3, tree.seconds * 1e3, bare.seconds * 1e3, operation.seconds / tree.seconds,
                operation.cpuSeconds / tree.cpuSeconds, operation.peakMiB, operation.startMiB);
    const Traffic traffic = Count(server, "log");
    const std::string title = "Redfish log, " + std::to_string(count) + kind;
    options.Print(
        {title, "one property tree", ToSpent(operation), ToSpent(tree), traffic.requests, traffic.connections});
    options.Print({title, "libcurl alone", ToSpent(operation), ToSpent(bare), traffic.requests, traffic.connections});
  }
  std::printf("\n");
}

/// One object, all operations: how many connections did the server see?
void Connections() {
  ScriptedHttpServer server({.tls = true});
  Script(server, LogEntries(10));
  KelvarConnection::ConnectionInfo info;
  info.Host = "127.0.0.1";
  info.Port = server.Port();
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_REDFISH;
  NodeFirmwareInventory inventory(info);
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  KelvarAgentless::ComputerSystem system;
  std::vector<OtherSystemVPD> components;
  std::vector<KelvarNfw::NUMERICSENSORS> sensors;
  std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST> entries;
  std::vector<KelvarNfw::ZMCSTATICIP> addresses;
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> firmware;
  Log::SetMinLogLevel(0);
  inventory.GetNodeFirmwareSystemVPD(vpd);
  inventory.GetHardwareInfoComputerSystem(system);
  inventory.GetNodeOtherSystemVPD(components);
  inventory.GetZMCStaticIPAddress(addresses);
  inventory.GetZMCMessageLogDataRedfish(entries);
  inventory.GetZMCNumericSensors(sensors);
  inventory.GetNodeFirmwareBuildID(firmware);
  std::printf("connections of one object: %d for %zu requests\n", server.ConnectionCount(), server.Requests().size());
}

/// The operations' pages for so many seconds, for a profiler: redfish_bench --job NAME PORT ROUNDS asks for them.
int Serve(int seconds) {
  ScriptedHttpServer server({.tls = true});
  Script(server, LogEntries(10'000));
  std::printf("%d\n", server.Port());
  std::fflush(stdout);
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  return 0;
}

int Run(const BenchOptions& options) {
  ScriptedHttpServer server({.tls = true});
  Script(server, LogEntries(10));
  Operations(options, server);
  const std::string log = LogEntries(10'000);
  server.On(kEntries, HttpReply(log));
  Readers(server.Port(), static_cast<double>(log.size()) / 1e6);
  Logs(options, server, {1'000, 10'000}, " entries of 950 B", &LogEntries);
  Logs(options, server, {1'000, 10'000, 100'000}, " entries of 500 B", &SmallLogEntries);
  Connections();
  return 0;
}

}  // namespace
}  // namespace Kelvar::Bench

int main(int argc, char** argv) {
  try {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments[0] == "--job") {
      return Kelvar::Bench::BeChild({arguments.begin() + 1, arguments.end()});
    }
    if (arguments.size() == 2 && arguments[0] == "--serve") {
      return Kelvar::Bench::Serve(std::stoi(arguments[1]));
    }
    return Kelvar::Bench::Run(Kelvar::Bench::BenchOptions(argc, argv));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
