// kelvar-bmcsim: one modelled machine, served over the protocols of a service processor on loopback.

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <CLI/CLI.hpp>

#include "simulator/cim/CimService.h"
#include "simulator/ipmi/IpmiService.h"
#include "simulator/machine/Machine.h"
#include "simulator/machine/Places.h"
#include "simulator/redfish/RedfishService.h"

namespace {

using namespace Kelvar::Simulator;

struct Protocol {
  const char* name;
  /// What a machine that offers the protocol has in its folder.
  const char* data;
  const char* help;
  std::unique_ptr<Service> (*make)(const Machine& machine);
};

constexpr Protocol protocols[] = {
    {"ipmi", "ipmi.json", "UDP port of IPMI", MakeIpmiService},
    {"redfish", "redfish", "TCP port of Redfish over HTTPS", MakeRedfishService},
    {"cim", "cim", "TCP port of CIM over HTTP", MakeCimService},
    {"cim-https", "cim", "TCP port of CIM over HTTPS", MakeCimTlsService},
};

struct Options {
  std::string machine = "full";
  std::string library;
  std::vector<std::string> faults;
  std::vector<std::string> serve;
  std::string cimFlavour;
  std::optional<std::size_t> logEntries;
  std::optional<std::size_t> sensors;
  std::map<std::string, unsigned short> ports;
  bool untilEof = false;
};

void Declare(CLI::App& app, Options& options) {
  std::vector<std::string> names;
  for (const Protocol& protocol : protocols) {
    names.emplace_back(protocol.name);
    app.add_option(std::string("--") + protocol.name, options.ports[protocol.name],
                   std::string(protocol.help) + "; a free one when absent");
  }
  app.add_option("--machine", options.machine, "Name of a machine, or a folder with a machine.json")
      ->capture_default_str();
  app.add_option("--machines", options.library, "Folder in which machines are looked up by name");
  app.add_option("--serve", options.serve, "Serve these protocols alone")->delimiter(',')->check(CLI::IsMember(names));
  app.add_option("--fault", options.faults, "Switch a fault of the machine's data on: PROTOCOL:NAME");
  app.add_option("--cim-flavour", options.cimFlavour,
                 "Kind of target that CIM is: one of the machine's cim/server.json");
  app.add_option("--log-entries", options.logEntries, "Make each log this long");
  app.add_option("--sensors", options.sensors, "Make each list of sensors this long");
  app.add_flag("--until-eof", options.untilEof, "End when standard input ends");
}

Machine LoadWithFaults(const Options& options) {
  Machine machine = LoadMachine(options.machine, MachineLibrary(options.library));
  machine.faults = options.faults;
  machine.cimFlavour = options.cimFlavour;
  machine.logEntries = options.logEntries;
  machine.sensors = options.sensors;
  for (const std::string& fault : machine.faults) {
    bool known = false;
    for (const Protocol& protocol : protocols) {
      known = known || fault.rfind(std::string(protocol.name) + ':', 0) == 0;
    }
    if (!known) {
      throw std::runtime_error("fault \"" + fault + "\": wanted is PROTOCOL:NAME");
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

void AnnounceReady(const Machine& machine, const std::map<std::string, unsigned short>& ports) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  writer.StartObject();
  writer.Key("machine");
  writer.String(machine.name.c_str());
  for (const auto& [protocol, port] : ports) {
    writer.Key(protocol.c_str());
    writer.Uint(port);
  }
  writer.EndObject();
  std::cout << buffer.GetString() << std::endl;
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
  std::map<std::string, unsigned short> ports;
  for (const Protocol& protocol : protocols) {
    if (Wanted(options, machine, protocol)) {
      services.push_back(protocol.make(machine));
      ports[protocol.name] = services.back()->Start(options.ports.at(protocol.name));
    }
  }
  AnnounceReady(machine, ports);
  WaitForEnd(signals, options.untilEof, services);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Serves a modelled server's service processor over IPMI, Redfish and CIM on loopback.");
  Options options;
  Declare(app, options);
  CLI11_PARSE(app, argc, argv);
  try {
    Serve(options);
  } catch (const std::exception& error) {
    std::cerr << "kelvar-bmcsim: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
