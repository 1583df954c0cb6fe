// usage: KELVAR_PASSWORD=... many_targets USER HOST...
// Reads the firmware of several servers over Redfish, a thread for each: operations block, and objects are independent.

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventory.h>

namespace {

using Firmware = std::vector<Kelvar::KelvarNfw::NODEFIRMWAREBUILDID>;

// The object is made, used and destroyed by one thread. What cannot be read stays empty.
void Read(const Kelvar::KelvarConnection::ConnectionInfo& target, Firmware& firmware) {
  Kelvar::NodeFirmwareInventory inventory(target);
  inventory.GetNodeFirmwareBuildID(firmware);
}

}  // namespace

int main(int argc, char** argv) {
  const char* password = std::getenv("KELVAR_PASSWORD");
  if (argc < 3 || password == nullptr) {
    std::fprintf(stderr, "usage: KELVAR_PASSWORD=... %s USER HOST...\n", argv[0]);
    return 2;
  }
  Kelvar::Log::SetMinLogLevel(0);  // lines of many threads would mix; see failures.cpp for what went wrong
  std::vector<std::string> hosts(argv + 2, argv + argc);
  std::vector<Firmware> results(hosts.size());
  std::vector<std::thread> threads;
  for (std::size_t index = 0; index < hosts.size(); ++index) {
    Kelvar::KelvarConnection::ConnectionInfo target;
    target.Host = hosts[index];
    target.Port = 443;
    target.UserName = argv[1];
    target.Password = password;
    target.ConnectionCase = Kelvar::KelvarConnection::CONNECTION_CASE_REDFISH;
    threads.emplace_back([target, &result = results[index]] { Read(target, result); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (std::size_t index = 0; index < hosts.size(); ++index) {
    const std::string version = results[index].empty() ? "" : results[index].front().uEFIBuildID;
    std::printf("%s: UEFI %s\n", hosts[index].c_str(), version.empty() ? "not read" : version.c_str());
  }
  return 0;
}
