#include "tools/kelvar/serve/OwnMetrics.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <sys/resource.h>
#include <unistd.h>

#include "tools/kelvar/serve/Exposition.h"

namespace Kelvar::Tool::Serve {

namespace {

constexpr Metric build = {"kelvar_build_info", "gauge", "Version of the exporter"};
constexpr Metric requests = {"kelvar_http_requests_total", "counter", "Requests answered, by path and status"};
constexpr Metric inFlight = {"kelvar_readings_in_flight", "gauge", "Readings that are under way"};
constexpr Metric leftBehind = {"kelvar_readings_left_behind", "gauge",
                               "ProbePool under way that took longer than all scrapes that wanted them"};
constexpr Metric waiting = {"kelvar_readings_waiting", "gauge", "Readings that wait for others to end"};
constexpr Metric begun = {"kelvar_readings_total", "counter", "Readings begun"};
constexpr Metric shared = {"kelvar_shared_probes_total", "counter", "Probes answered by a reading that was under way"};
constexpr Metric cpu = {"process_cpu_seconds_total", "counter", "User and system CPU time"};
constexpr Metric memory = {"process_resident_memory_bytes", "gauge", "Resident memory"};
constexpr Metric descriptors = {"process_open_fds", "gauge", "Open file descriptors"};
constexpr Metric mostDescriptors = {"process_max_fds", "gauge", "Most file descriptors that may be open"};
constexpr Metric startTime = {"process_start_time_seconds", "gauge", "Start of the process since the Unix epoch"};

const auto processStart = std::chrono::system_clock::now();

double Seconds(const timeval& time) {
  constexpr double microsecond = 1e-6;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * microsecond;
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
  exposition.Add(cpu, Seconds(usage.ru_utime) + Seconds(usage.ru_stime));
  exposition.Add(memory, ResidentBytes());
  exposition.Add(descriptors, OpenDescriptors());
  exposition.Add(mostDescriptors, static_cast<double>(limit.rlim_cur));
  exposition.Add(startTime, std::chrono::duration<double>(processStart.time_since_epoch()).count());
}

}  // namespace

std::string OwnMetricsText(const std::map<std::pair<std::string, unsigned>, std::size_t>& answered,
                           const ProbePool::Counts& readings) {
  Exposition exposition;
  exposition.Add(build, {{"version", KELVAR_VERSION}}, 1);
  for (const auto& [key, count] : answered) {
    exposition.Add(requests, {{"path", key.first}, {"code", std::to_string(key.second)}}, static_cast<double>(count));
  }
  exposition.Add(inFlight, static_cast<double>(readings.inFlight));
  exposition.Add(leftBehind, static_cast<double>(readings.leftBehind));
  exposition.Add(waiting, static_cast<double>(readings.waiting));
  exposition.Add(begun, static_cast<double>(readings.begun));
  exposition.Add(shared, static_cast<double>(readings.shared));
  AddProcess(exposition);
  return exposition.Text();
}

}  // namespace Kelvar::Tool::Serve
