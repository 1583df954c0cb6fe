#pragma once

#include <optional>
#include <string>
#include <vector>

#include <rapidjson/document.h>

#include "CurlFetch.h"
#include "simulator/machine/Machine.h"
#include "simulator/redfish/RedfishServer.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {

/// A machine's Redfish service in this process, and a client that is logged in.
class RedfishFixture {
 public:
  explicit RedfishFixture(const std::string& machine, const std::vector<std::string>& faults = {},
                          std::optional<std::size_t> logEntries = {}, std::optional<std::size_t> sensors = {})
      : machine_(Load(machine, faults, logEntries, sensors)), service_(machine_), port_(service_.Start(0)) {}

  std::string Url(const std::string& path) const { return "https://127.0.0.1:" + std::to_string(port_) + path; }

  Fetched Get(const std::string& path, CurlFetch::Settings settings = {}) {
    settings.user = machine_.accounts.at(0).user;
    settings.password = machine_.accounts.at(0).password;
    return curl_.Get(Url(path), settings);
  }
  /// Without a login.
  Fetched GetAsStranger(const std::string& path, const CurlFetch::Settings& settings = {}) {
    return curl_.Get(Url(path), settings);
  }
  /// The page as JSON; null when it is none.
  rapidjson::Document Json(const std::string& path) {
    rapidjson::Document document;
    const Fetched fetched = Get(path);
    if (fetched.status != 200 || document.Parse<rapidjson::kParseIterativeFlag>(fetched.body.c_str()).HasParseError()) {
      document.SetNull();
    }
    return document;
  }

  unsigned short Port() const { return port_; }
  const Simulator::Machine& Machine() const { return machine_; }
  const Simulator::RedfishServer& Service() const { return service_; }

 private:
  static Simulator::Machine Load(const std::string& name, const std::vector<std::string>& faults,
                                 std::optional<std::size_t> logEntries, std::optional<std::size_t> sensors) {
    Simulator::Machine machine = Simulator::LoadMachine(name, kMachineFolder);
    for (const std::string& fault : faults) {
      machine.faults.push_back("redfish:" + fault);
    }
    machine.logEntries = logEntries;
    machine.sensors = sensors;
    return machine;
  }

  Simulator::Machine machine_;
  Simulator::RedfishServer service_;
  unsigned short port_;
  CurlFetch curl_;
};

}  // namespace Kelvar::Test
