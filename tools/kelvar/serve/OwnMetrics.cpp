#include "tools/kelvar/serve/OwnMetrics.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

#include "tools/kelvar/metrics/Exposition.h"

namespace Kelvar::Tool::Serve {

namespace {

constexpr Metric kBuild = {"kelvar_build_info", "gauge", "Version of the exporter"};
constexpr Metric kRequests = {"kelvar_http_requests_total", "counter", "Requests answered, by path and status"};
constexpr Metric kInFlight = {"kelvar_readings_in_flight", "gauge", "Readings that are under way"};
constexpr Metric kLeftBehind = {"kelvar_readings_left_behind", "gauge",
                                "Readings under way that no scrape waits for any more"};
constexpr Metric kWaiting = {"kelvar_readings_waiting", "gauge", "Readings that wait for others to end"};
constexpr Metric kBegun = {"kelvar_readings_total", "counter", "Readings begun"};
constexpr Metric kShared = {"kelvar_shared_probes_total", "counter", "Probes answered by a reading that was under way"};
constexpr Metric kKnown = {"kelvar_known_probes_total", "counter", "Probes answered with data of an earlier reading"};
constexpr Metric kReloadGood = {"kelvar_config_last_reload_successful", "gauge",
                                "1 when the configuration was last read without an error, 0 when the old one was kept"};
constexpr Metric kReloadTime = {"kelvar_config_last_reload_success_timestamp_seconds", "gauge",
                                "When the configuration was last read without an error"};
constexpr Metric kCpu = {"process_cpu_seconds_total", "counter", "User and system CPU time"};
constexpr Metric kMemory = {"process_resident_memory_bytes", "gauge", "Resident memory"};
constexpr Metric kDescriptors = {"process_open_fds", "gauge", "Open file descriptors"};
constexpr Metric kMostDescriptors = {"process_max_fds", "gauge", "Most file descriptors that may be open"};
constexpr Metric kStartTime = {"process_start_time_seconds", "gauge", "Start of the process since the Unix epoch"};

const auto kProcessStart = std::chrono::system_clock::now();

double Seconds(const timeval& time) {
  constexpr double kMicrosecond = 1e-6;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * kMicrosecond;
}

double ResidentBytes() {
  std::ifstream file("/proc/self/statm");
  double total = 0;
  double resident = 0;
  file >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double OpenDescriptors() {
  std::error_code error;
  double count = 0;
  for (auto entry = std::filesystem::directory_iterator("/proc/self/fd", error);
       !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    ++count;
  }
  return count;
}

void AddProcess(Exposition& exposition) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  exposition.Add(kCpu, Seconds(usage.ru_utime) + Seconds(usage.ru_stime));
  exposition.Add(kMemory, ResidentBytes());
  exposition.Add(kDescriptors, OpenDescriptors());
  exposition.Add(kMostDescriptors, static_cast<double>(limit.rlim_cur));
  exposition.Add(kStartTime, std::chrono::duration<double>(kProcessStart.time_since_epoch()).count());
}

}  // namespace

std::string OwnMetricsText(const std::map<std::pair<std::string, unsigned>, std::size_t>& answered,
                           const ProbePool::Counts& readings, std::size_t answeredWithKnown, const LoadState& loaded) {
  Exposition exposition;
  exposition.Add(kBuild, {{"version", KELVAR_VERSION}}, 1);
  for (const auto& [key, count] : answered) {
    exposition.Add(kRequests, {{"path", key.first}, {"code", std::to_string(key.second)}}, static_cast<double>(count));
  }
  exposition.Add(kInFlight, static_cast<double>(readings.inFlight));
  exposition.Add(kLeftBehind, static_cast<double>(readings.leftBehind));
  exposition.Add(kWaiting, static_cast<double>(readings.waiting));
  exposition.Add(kBegun, static_cast<double>(readings.begun));
  exposition.Add(kShared, static_cast<double>(readings.shared));
  exposition.Add(kKnown, static_cast<double>(answeredWithKnown));
  exposition.Add(kReloadGood, loaded.good ? 1 : 0);
  exposition.Add(kReloadTime, std::chrono::duration<double>(loaded.last.time_since_epoch()).count());
  AddProcess(exposition);
  return exposition.Text();
}

}  // namespace Kelvar::Tool::Serve
