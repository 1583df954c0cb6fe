// read_inventory redfish|ipmi PORT [KEY=VALUE...]: reads the simulated machine at the port once and prints how many
// requests that took and how many records came; with urls=yes what was asked for, a line each, instead.
// Keys: at-once, family, auth=basic, cache=yes|no, cache-folder.

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/InventoryReader.h>

namespace {

using Kelvar::InventoryReader;
using Kelvar::InventoryReaderOptions;

struct Task {
  Kelvar::KelvarConnection::ConnectionInfo target;
  InventoryReaderOptions options;
  std::vector<Kelvar::Model::Family> families;
  bool urls = false;
};

Kelvar::Model::Family FamilyOf(const std::string& word) {
  for (std::size_t number = 0; number < Kelvar::Model::kFamilyCount; ++number) {
    const auto family = static_cast<Kelvar::Model::Family>(number);
    if (word == Kelvar::Model::NameOf(family)) {
      return family;
    }
  }
  throw std::runtime_error("unknown family: " + word);
}

void TakeSetting(Task& task, const std::string& setting) {
  const auto equals = setting.find('=');
  const std::string key = setting.substr(0, equals);
  const std::string value = equals == std::string::npos ? "" : setting.substr(equals + 1);
  if (key == "at-once") {
    task.options.requests_at_once = static_cast<Kelvar::u32>(std::stoul(value));
  } else if (key == "family") {
    task.families.push_back(FamilyOf(value));
  } else if (key == "auth" && value == "basic") {
    task.options.authentication = InventoryReaderOptions::Authentication::Basic;
  } else if (key == "cache") {
    task.options.sdr_cache = value == "yes";
  } else if (key == "cache-folder") {
    task.options.sdr_cache_folder = value;
  } else if (key == "urls") {
    task.urls = value == "yes";
  } else {
    throw std::runtime_error("unknown setting: " + setting);
  }
}

Task Parse(const std::vector<std::string>& arguments) {
  using namespace Kelvar::KelvarConnection;
  if (arguments.size() < 2) {
    throw std::runtime_error("usage: read_inventory redfish|ipmi PORT [KEY=VALUE...]");
  }
  Task task;
  task.target.Host = "127.0.0.1";
  task.target.Port = static_cast<Kelvar::u16>(std::stoi(arguments[1]));
  task.target.UserName = "admin";
  task.target.Password = "kelvar-demo";
  task.target.ConnectionCase = arguments[0] == "ipmi" ? CONNECTION_CASE_IPMI_LAN : CONNECTION_CASE_REDFISH;
  task.options.deadline_seconds = 0;
  for (std::size_t index = 2; index < arguments.size(); ++index) {
    TakeSetting(task, arguments[index]);
  }
  return task;
}

void PrintUrls(const Task& task, const Kelvar::Diagnostics& met) {
  constexpr std::string_view kGet = "GET ";
  for (const auto& exchange : met.Exchanges()) {
    if (exchange.request.rfind(kGet, 0) == 0) {
      std::printf("https://%s:%u%s\n", task.target.Host.c_str(), task.target.Port,
                  exchange.request.c_str() + kGet.size());
    }
  }
}

int Run(const Task& task) {
  InventoryReader reader(task.target, task.options);
  const Kelvar::Model::Inventory inventory = task.families.empty() ? reader.Read() : reader.Read(task.families);
  const Kelvar::Diagnostics& met = reader.LastDiagnostics();
  if (task.urls) {
    PrintUrls(task, met);
  } else {
    std::printf("%llu requests, %zu components, %zu firmware, %zu sensors, %zu log entries, %llu gaps\n",
                static_cast<unsigned long long>(met.ExchangeCount()), inventory.components.size(),
                inventory.firmware.size(), inventory.sensors.size(), inventory.log_entries.size(),
                static_cast<unsigned long long>(met.GapCount()));
  }
  return met.ServiceUnderstood() ? 0 : 1;  // a machine may lack what one of its records promises
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(Parse({argv + 1, argv + argc}));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
