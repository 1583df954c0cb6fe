// Many targets in one run of the tool, over HTTPS on loopback. The servers share the machine: how busy its processors
// were is told beside each rate. "--hostile" runs the last part alone.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include <curl/curl.h>
#include <rapidjson/document.h>
#include <sys/resource.h>
#include <unistd.h>

#include "bench/Rows.h"
#include "bench/fleet/Farm.h"
#include "bench/fleet/Run.h"
#include "support/TestPlaces.h"

namespace Kelvar::Bench {
namespace {

constexpr std::chrono::milliseconds kLatency{50};
constexpr int kFleet = 256;
constexpr const char* kBareWord = "--bare";

class Folder {
 public:
  Folder() { std::filesystem::create_directories(path_); }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string operator/(const std::string& name) const { return path_ / name; }

 private:
  const std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("kelvar-fleet-bench-" + std::to_string(getpid()));
};

std::string WriteList(const std::string& file, int count, const std::function<std::string(int)>& target) {
  std::ofstream list(file);
  for (int number = 0; number < count; ++number) {
    list << target(number) << '\n';
  }
  return file;
}

RunCost ReadFleet(const Folder& folder, const std::string& list, int jobs, const std::string& deadline = "60") {
  return Run({Test::kToolProgram, "--targets", list, "--jobs", std::to_string(jobs), "--deadline", deadline, "--quiet",
              "firmware", "system"},
             folder / "output");
}

/// Fails the bench where the tool did not do what is measured.
void Require(bool good, const char* what) {
  if (!good) {
    std::fprintf(stderr, "fleet_bench: %s\n", what);
    std::exit(1);
  }
}

void Throughput(const Folder& folder, bool quick) {
  const double cores = std::thread::hardware_concurrency();
  std::printf("%d targets with %ld ms a request, 3 requests each (firmware, system)\n", kFleet,
              static_cast<long>(kLatency.count()));
  std::printf("%6s %8s %10s %10s %11s %12s %9s\n", "jobs", "s", "targets/s", "of linear", "tool cores", "all cores",
              "peak MiB");
  double one = 0;
  double firstPeak = 0;
  double lastPeak = 0;
  for (const int jobs : {1, 2, 4, 8, 16, 32, 64, 128, kFleet}) {  // parts of the fleet: no round is left half empty
    const int count = quick ? std::min(16 * jobs, kFleet) : kFleet;
    const Farm farm(kLatency);
    const std::string list = WriteList(folder / "list", count, [&](int number) { return farm.Good(number); });
    const double before = OwnCpuSeconds();
    const RunCost spent = ReadFleet(folder, list, jobs);
    const double servers = OwnCpuSeconds() - before;
    Require(spent.exitCode == 0, "a target that answers was not read");
    const double rate = count / spent.seconds;
    one = jobs == 1 ? rate : one;
    firstPeak = jobs == 1 ? spent.peakKiB : firstPeak;
    lastPeak = spent.peakKiB;
    const double allCores = (spent.cpuSeconds + servers) / spent.seconds;
    std::printf("%6d %8.2f %10.1f %10.2f %11.2f %7.2f of %.0f %9.1f\n", jobs, spent.seconds, rate, rate / one / jobs,
                spent.cpuSeconds / spent.seconds, allCores, cores, spent.peakKiB / 1024);
  }
  std::printf("cores: the tool, and it with the servers\n");
  std::printf("memory per target in flight: %.0f KiB (goal: below 300)\n\n", (lastPeak - firstPeak) / (kFleet - 1));
}

/// The same requests by libcurl, a handle for each target; the bodies are read and dropped.
int BeBare(int count, const std::string& port) {
  const char* const paths[] = {"/redfish/v1/UpdateService/FirmwareInventory?$expand=.($levels=1)",
                               "/redfish/v1/Systems", "/redfish/v1/Systems/1"};
  curl_global_init(CURL_GLOBAL_DEFAULT);
  for (int number = 0; number < count; ++number) {
    CURL* handle = curl_easy_init();
    const std::string user = "u" + std::to_string(number) + ":x";
    for (const char* const path : paths) {
      const std::string url = "https://127.0.0.1:" + port + path;
      curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
      curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
      curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
      curl_easy_setopt(handle, CURLOPT_USERPWD, user.c_str());
      if (curl_easy_perform(handle) != CURLE_OK) {
        return 1;
      }
    }
    curl_easy_cleanup(handle);
  }
  return 0;
}

void Cpu(const Folder& folder, const BenchOptions& options) {
  const Farm farm(std::chrono::milliseconds(0));
  const auto good = [&](int number) { return farm.Good(number); };
  const std::string port = std::to_string(farm.GoodPort());
  const auto bare = [&](int count) {
    const RunCost spent = Run({"/proc/self/exe", kBareWord, std::to_string(count), port}, folder / "output");
    Require(spent.exitCode == 0, "the bare client did not get its answers");
    return spent.cpuSeconds;
  };
  const auto tool = [&](int count, int jobs) {
    return ReadFleet(folder, WriteList(folder / "list", count, good), jobs).cpuSeconds;
  };
  const auto perTarget = [&](const std::function<double(int)>& cpu) {
    return (cpu(kFleet) - cpu(1)) / (kFleet - 1) * 1e3;
  };
  const double start = tool(1, 1);
  const std::size_t requests = farm.Requests();
  const int connections = farm.Connections();
  tool(kFleet, 64);
  const double requestsPer = static_cast<double>(farm.Requests() - requests) / kFleet;
  const double connectionsPer = static_cast<double>(farm.Connections() - connections) / kFleet;
  std::printf("CPU per target without latency: %.1f requests on %.1f connections; start of the tool %.1f ms\n",
              requestsPer, connectionsPer, start * 1e3);
  const double least = perTarget(bare);
  std::printf("%6s %10s %10s %10s\n", "jobs", "ms", "bare ms", "of bare");
  for (const int jobs : {1, 64, kFleet}) {
    const double own = perTarget([&](int count) { return tool(count, jobs); });
    std::printf("%6d %10.2f %10.2f %10.2f\n", jobs, own, least, own / least);
    options.Print({"fleet, firmware and system, per target, " + std::to_string(jobs) + " jobs",
                   "libcurl, a connection each",
                   {-1, own * 1e-3, -1},
                   {-1, least * 1e-3, -1},
                   requestsPer,
                   connectionsPer});
  }
  const RunCost few = ReadFleet(folder, WriteList(folder / "list", kFleet, good), 8);
  const RunCost many = ReadFleet(folder, WriteList(folder / "list", 10 * kFleet, good), 8);
  std::printf("memory that stays per target read: %.1f KiB (%.1f MiB after %d, %.1f MiB after %d)\n\n",
              (many.peakKiB - few.peakKiB) / (9 * kFleet), few.peakKiB / 1024, kFleet, many.peakKiB / 1024,
              10 * kFleet);
}

void Hostile(const Folder& folder) {
  constexpr int kCount = 2000;
  constexpr int kJobs = 200;
  constexpr double kDeadline = 5;
  const Farm farm(kLatency);
  std::set<std::string> good;
  const auto target = [&](int number) {
    return number % 3 == 0 ? farm.Bad(number / 3) : *good.insert(farm.Good(number)).first;
  };
  const std::string list = WriteList(folder / "list", kCount, target);
  const RunCost spent = ReadFleet(folder, list, kJobs, "5");
  std::set<std::string> answered;
  int lines = 0;
  int wrong = 0;
  int late = 0;
  int goodLate = 0;
  double longest = 0;
  std::ifstream output(folder / "output");
  for (std::string line; std::getline(output, line); ++lines) {
    rapidjson::Document report;
    Require(!report.Parse(line.c_str()).HasParseError(), "a line is not a report");
    const std::string name = report["target"].GetString();
    answered.insert(name);
    const bool isGood = good.count(name) == 1;
    const bool isLate = report.HasMember("error") && std::string(report["error"].GetString()).rfind("deadline", 0) == 0;
    late += isLate ? 1 : 0;
    goodLate += isLate && isGood ? 1 : 0;
    wrong += !isLate && (report["code"].GetInt() == 0) != isGood ? 1 : 0;
    longest = std::max(longest, report["seconds"].GetDouble());
  }
  std::printf("%d targets, of which %zu are dead, silent, slow or hostile, %d jobs, deadline %.0f s\n", kCount,
              kCount - good.size(), kJobs, kDeadline);
  std::printf("  answered: %d lines for %zu targets (lost: %zu)\n", lines, answered.size(), kCount - answered.size());
  std::printf("  judged wrongly (a good one failed, a bad one complete): %d\n", wrong);
  std::printf(
      "  at the deadline: %d, of which good ones (no processor time left for them): %d; longest reading %.2f s\n", late,
      goodLate, longest);
  std::printf("  %.1f s, %.1f s of CPU, peak %.1f MiB, exit code %d\n", spent.seconds, spent.cpuSeconds,
              spent.peakKiB / 1024, spent.exitCode);
}

int Main(int argc, char** argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  const BenchOptions options(argc, argv);
  if (first == kRunWord && argc > 3) {
    return BeRunner({argv + 2, argv + argc});
  }
  if (first == kBareWord && argc == 4) {
    return BeBare(std::atoi(argv[2]), argv[3]);
  }
  setenv("KELVAR_PASSWORD", "x", 1);
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  const Folder folder;
  double load = 0;
  getloadavg(&load, 1);
  std::printf("load of the machine at the start: %.1f\n\n", load);
  if (first == "--hostile") {
    Hostile(folder);
    return 0;
  }
  Throughput(folder, options.Quick());
  Cpu(folder, options);
  Hostile(folder);
  return 0;
}

}  // namespace
}  // namespace Kelvar::Bench

int main(int argc, char** argv) {
  return Kelvar::Bench::Main(argc, argv);
}
