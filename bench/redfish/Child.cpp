#include "bench/redfish/Child.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>

#include <curl/curl.h>
#include <rapidjson/document.h>

#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventory.h>
#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "common/json/JsonDocument.h"
#include "common/json/JsonTree.h"

namespace Kelvar::Bench {

namespace {

using Job = std::function<void()>;

void Require(bool good) {
  if (!good) {
    std::fprintf(stderr, "a job did not get its answer\n");
    std::exit(1);
  }
}

/// What a program without this library does: one handle, one string, and the same request on the wire.
class BareClient {
 public:
  explicit BareClient(u16 port) : base_("https://127.0.0.1:" + std::to_string(port)), handle_(curl_easy_init()) {
    curl_easy_setopt(handle_, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle_, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(handle_, CURLOPT_USERPWD, "admin:kelvar-demo");
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_USERAGENT, "TVKE_RAVLOT");
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    headers_ = curl_slist_append(headers_, "Content-Type: application/json");
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(
        handle_, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, void* body) {
          static_cast<std::string*>(body)->append(data, size * count);
          return size * count;
        });
  }
  ~BareClient() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }

  std::string Get(const std::string& path) {
    std::string body;
    curl_easy_setopt(handle_, CURLOPT_URL, (base_ + path).c_str());
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, &body);
    Require(curl_easy_perform(handle_) == CURLE_OK);
    return body;
  }

  /// With the cheapest parse that yields a document.
  void GetParsed(const std::string& path) {
    std::string text = Get(path);
    rapidjson::Document document;
    document.ParseInsitu(text.data());
    Require(!document.HasParseError());
  }

 private:
  const std::string base_;
  CURL* handle_;
  curl_slist* headers_ = nullptr;
};

KelvarConnection::ConnectionInfo Target(u16 port) {
  KelvarConnection::ConnectionInfo info;
  info.Host = "127.0.0.1";
  info.Port = port;
  info.UserName = "admin";
  info.Password = "kelvar-demo";
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_REDFISH;
  return info;
}

constexpr const char* kFirmware = "/redfish/v1/UpdateService/FirmwareInventory?$expand=.($levels=1)";
constexpr const char* kSensors = "/redfish/v1/Chassis/1/Sensors?$expand=.($levels=1)";

Job OperationJob(const std::string& name, u16 port) {
  auto backend = std::make_shared<NodeFirmwareInventoryImpRedfish>(Target(port));
  const std::map<std::string, Job> jobs = {
      {"identity",
       [backend] {
         KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
         KelvarAgentless::ComputerSystem system;
         Require(backend->GetNodeFirmwareSystemVPD(vpd) == 0 && backend->GetHardwareInfoComputerSystem(system) == 0);
       }},
      {"firmware",
       [backend] {
         std::map<std::string, KelvarOptions::SoftwareIdentity_> identities;
         Require(backend->GetFirmware(identities));
       }},
      {"log",
       [backend] {
         std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST> entries;
         Require(backend->GetZMCMessageLogData(entries) == 0 && !entries.empty());
       }},
      {"sensors",
       [backend] {
         std::vector<KelvarNfw::NUMERICSENSORS> sensors;
         Require(backend->GetZMCNumericSensors(sensors) == 0 && !sensors.empty());
       }},
  };
  const auto found = jobs.find(name);
  return found == jobs.end() ? Job() : found->second;
}

Job BareJob(const std::string& name, u16 port) {
  auto client = std::make_shared<BareClient>(port);
  const auto body = std::make_shared<std::string>();
  const auto once = [client, body](const char* path) -> std::string& {
    if (body->empty()) {
      *body = client->Get(path);
    }
    return *body;
  };
  const std::map<std::string, Job> jobs = {
      {"bare-identity",
       [client] {
         for (const char* path : {"/redfish/v1/Systems", "/redfish/v1/Systems/1", "/redfish/v1/Chassis/1"}) {
           client->GetParsed(path);
         }
       }},
      {"bare-firmware", [client] { client->GetParsed(kFirmware); }},
      {"bare-log", [client] { client->Get(kEntries); }},
      {"bare-sensors", [client] { client->GetParsed(kSensors); }},
      {"parse-tree", [once] { JsonTree::ByParser(once(kEntries), {.values = 100'000'000}); }},
      {"parse-in-place", [once] { JsonTree tree(once(kEntries), {.values = 100'000'000}); }},
      {"parse-document", [once] { Require(JsonDocument::Read(once(kEntries)).has_value()); }},
  };
  const auto found = jobs.find(name);
  return found == jobs.end() ? Job() : found->second;
}

double StatusMiB(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(key + ":", 0) == 0) {
      return std::strtod(line.c_str() + key.size() + 1, nullptr) / 1024;
    }
  }
  return 0;
}

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

void Measured::Improve(const Measured& again) {
  seconds = std::min(seconds, again.seconds);
  cpuSeconds = std::min(cpuSeconds, again.cpuSeconds);
  peakMiB = std::max(peakMiB, again.peakMiB);
}

int BeChild(const std::vector<std::string>& arguments) {
  Log::SetMinLogLevel(1);
  const auto port = static_cast<u16>(std::stoi(arguments.at(1)));
  const int rounds = std::stoi(arguments.at(2));
  Job job = OperationJob(arguments.at(0), port);
  job = job ? job : BareJob(arguments.at(0), port);
  Measured measured;
  measured.startMiB = StatusMiB("VmRSS");
  job();  // opens the connection
  const double cpuBefore = CpuSeconds();
  measured.seconds = 1e9;
  for (int round = 0; round < rounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    job();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    measured.seconds = std::min(measured.seconds, taken.count());
  }
  measured.cpuSeconds = (CpuSeconds() - cpuBefore) / rounds;
  measured.peakMiB = StatusMiB("VmHWM");
  std::printf("%g %g %g %g\n", measured.seconds, measured.cpuSeconds, measured.startMiB, measured.peakMiB);
  return 0;
}

Measured RunChild(const std::string& name, u16 port, int rounds) {
  const std::string program = "/proc/" + std::to_string(getpid()) + "/exe";
  const std::string command = program + " --job " + name + " " + std::to_string(port) + " " + std::to_string(rounds);
  std::FILE* output = popen(command.c_str(), "r");
  Measured measured;
  const int read = output == nullptr ? 0
                                     : std::fscanf(output, "%lf %lf %lf %lf", &measured.seconds, &measured.cpuSeconds,
                                                   &measured.startMiB, &measured.peakMiB);
  if (output == nullptr || pclose(output) != 0 || read != 4) {
    throw std::runtime_error("the job " + name + " failed");
  }
  return measured;
}

}  // namespace Kelvar::Bench
