// kelvar-bmcsim: modelled machines, served over the protocols of a service processor on loopback.

#include <algorithm>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "simulator/SimulatorOptions.h"
#include "simulator/cim/CimService.h"
#include "simulator/fleet/SimulatedFleet.h"
#include "simulator/ipmi/IpmiService.h"
#include "simulator/machine/Machine.h"
#include "simulator/machine/Paths.h"
#include "simulator/redfish/RedfishServer.h"

namespace {

using namespace Kelvar::Simulator;

struct Protocol {
  const char* name;
  /// What a machine that offers the protocol has in its folder.
  const char* data;
  /// Of a target's URL.
  const char* scheme;
  std::unique_ptr<Service> (*make)(const Machine& machine);
};

constexpr Protocol kProtocols[] = {
    {"ipmi", "ipmi.json", "ipmi", MakeIpmiService},
    {"redfish", "redfish", "redfish", MakeRedfishServer},
    {"cim", "cim", "cim+http", MakeCimService},
    {"cim-https", "cim", "cim+https", MakeCimTlsService},
};

Machine LoadWithFaults(const Options& options) {
  Machine machine = LoadMachine(options.machine, MachineLibrary(options.library));
  machine.faults = options.faults;
  machine.cimFlavour = options.cimFlavour;
  machine.logEntries = options.logEntries;
  machine.sensors = options.sensors;
  machine.latency = std::chrono::milliseconds(options.latencyMs);
  machine.sessions.count = options.sessionLimit;
  machine.sessions.requests = options.sessionRequests;
  if (options.sessionTimeout) {
    machine.sessions.idle = std::chrono::seconds(*options.sessionTimeout);
  }
  for (const std::string& fault : machine.faults) {
    bool known = false;
    for (const Protocol& protocol : kProtocols) {
      known = known || fault.rfind(std::string(protocol.name) + ':', 0) == 0;
    }
    if (!known) {
      throw UsageError("fault \"" + fault + "\": expected PROTOCOL:NAME");
    }
  }
  for (const Protocol& protocol : kProtocols) {
    const bool wanted = std::find(options.serve.begin(), options.serve.end(), protocol.name) != options.serve.end();
    if (wanted && !std::filesystem::exists(machine.folder / protocol.data)) {
      throw UsageError("machine \"" + options.machine + "\" has no data for " + protocol.name);
    }
  }
  return machine;
}

/// Without a choice everything that the machine has data for.
bool Wanted(const Options& options, const Machine& machine, const Protocol& protocol) {
  if (options.serve.empty()) {
    return std::filesystem::exists(machine.folder / protocol.data);
  }
  return std::find(options.serve.begin(), options.serve.end(), protocol.name) != options.serve.end();
}

using Ports = std::map<std::string, unsigned short>;

/// A machine of a fleet has an `index`, and a `fault` or none.
std::string Announcement(const Machine& machine, const Ports& ports, const std::size_t* index = nullptr,
                         const std::string& fault = {}) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.StartObject();
  writer.Key("machine");
  writer.String(machine.name.c_str());
  if (index != nullptr) {
    writer.Key("index");
    writer.Uint64(*index);
  }
  if (!fault.empty()) {
    writer.Key("fault");
    writer.String(fault.c_str());
  }
  for (const auto& [protocol, port] : ports) {
    writer.Key(protocol.c_str());
    writer.Uint(port);
  }
  writer.EndObject();
  return buffer.GetString();
}

/// On standard output, at once. Throws std::runtime_error when it cannot be written.
void Print(const std::string& text) {
  if (!(std::cout << text).flush()) {
    throw std::runtime_error("cannot write standard output");
  }
}

/// Blocks the signals that end the program, so that they are read from a descriptor; services' threads inherit this.
int BlockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGHUP);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
  if (descriptor < 0) {
    throw std::runtime_error("signalfd failed");
  }
  return descriptor;
}

bool StandardInputEnded() {
  char dropped[256];
  return read(STDIN_FILENO, dropped, sizeof dropped) <= 0;
}

/// Returns when the program is to end. Throws std::runtime_error when a service has ended by itself.
void WaitForEnd(int signals, bool untilEof, const std::vector<std::unique_ptr<Service>>& services) {
  std::vector<pollfd> watched{{signals, POLLIN, 0}, {untilEof ? STDIN_FILENO : -1, POLLIN, 0}};
  const std::size_t firstService = watched.size();
  for (const auto& service : services) {
    watched.push_back({service->EndDescriptor(), POLLIN, 0});
  }
  for (;;) {
    if (poll(watched.data(), watched.size(), -1) < 0) {
      continue;
    }
    if (watched[0].revents != 0 || (watched[1].revents != 0 && StandardInputEnded())) {
      return;
    }
    for (std::size_t i = firstService; i < watched.size(); ++i) {
      if (watched[i].revents != 0) {
        throw std::runtime_error("a service ended by itself");
      }
    }
  }
}

void Serve(const Options& options) {
  const Machine machine = LoadWithFaults(options);
  const int signals = BlockEndSignals();
  std::vector<std::unique_ptr<Service>> services;
  Ports ports;
  for (const Protocol& protocol : kProtocols) {
    if (Wanted(options, machine, protocol)) {
      services.push_back(protocol.make(machine));
      ports[protocol.name] = services.back()->Start(options.ports.at(protocol.name));
    }
  }
  if (services.empty()) {
    throw std::runtime_error(machine.folder.string() + ": neither ipmi.json, redfish nor cim to serve");
  }
  Print(Announcement(machine, ports) + '\n');
  WaitForEnd(signals, options.untilEof, services);
}

void WriteTargets(const std::string& file, const Machine& machine, const std::vector<FleetMember>& members) {
  std::ofstream targets(file);
  const std::string user = machine.accounts.empty() ? std::string() : machine.accounts.front().user + '@';
  for (const FleetMember& member : members) {
    for (const Protocol& protocol : kProtocols) {
      if (const auto port = member.ports.find(protocol.name); port != member.ports.end()) {
        targets << protocol.scheme << "://" << user << "127.0.0.1:" << port->second << '\n';
      }
    }
  }
  if (!targets.flush()) {
    throw std::runtime_error("cannot write " + file);
  }
}

void ServeFleet(const Options& options) {
  const Machine machine = LoadWithFaults(options);
  const int signals = BlockEndSignals();
  FleetOptions wanted{options.fleet, options.serve, options.ports, options.fleetFaults,
                      std::chrono::milliseconds(options.latencyMs)};
  if (wanted.protocols.empty()) {
    wanted.protocols = {"redfish"};
  }
  SimulatedFleet fleet(machine, wanted);
  const std::vector<FleetMember> members = fleet.Start();
  if (!options.targetsFile.empty()) {
    WriteTargets(options.targetsFile, machine, members);
  }
  std::string announcements;
  for (std::size_t index = 0; index < members.size(); ++index) {
    announcements += Announcement(machine, members[index].ports, &index, members[index].fault) + '\n';
  }
  Print(announcements);
  WaitForEnd(signals, options.untilEof, fleet.Children());
}

}  // namespace

int main(int argc, char** argv) {
  std::optional<int> exitCode;
  const Options options = ReadCommandLine(argc, argv, exitCode);
  if (exitCode) {
    return *exitCode;
  }
  try {
    if (options.record) {
      Print(Record(*options.record) + '\n');
    } else if (options.fleet > 0) {
      ServeFleet(options);
    } else {
      Serve(options);
    }
  } catch (const UsageError& error) {
    std::cerr << "kelvar-bmcsim: " << error.what() << '\n';
    return 2;
  } catch (const std::exception& error) {
    std::cerr << "kelvar-bmcsim: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
