#include "simulator/fleet/SimulatedFleet.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

#include <sys/resource.h>

#include "simulator/cim/CimServer.h"
#include "simulator/fleet/FleetPlan.h"
#include "simulator/ipmi/IpmiService.h"

namespace Kelvar::Simulator {

namespace {

unsigned ThreadCount() {
  constexpr unsigned kMost = 4;
  return std::clamp(std::thread::hardware_concurrency(), 1U, kMost);
}

/// Each machine has a listening socket and, most of the time, a connection.
void AllowDescriptors(std::size_t sockets) {
  constexpr rlim_t kOthers = 64;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < 2 * sockets + kOthers) {
    throw std::runtime_error("the limit of " + std::to_string(limit.rlim_cur) +
                             " open files is too low for this fleet; see ulimit -Hn");
  }
}

SubstituteIdentity IdentityOf(std::size_t machine) {
  return [machine](std::string_view marked) { return PutIdentity(marked, machine); };
}

}  // namespace

struct SimulatedFleet::CimSite {
  CimSite(const Machine& machine, std::shared_ptr<const Cim::Repository> repository, SubstituteIdentity identity)
      : server(machine, std::move(repository), faults, std::move(identity)) {}

  FaultTable faults;
  Cim::CimServer server;
};

SimulatedFleet::SimulatedFleet(const Machine& machine, const FleetOptions& options)
    : options_(options), model_(machine), farm_(ThreadCount()) {
  AllowDescriptors(options.machines * options.protocols.size());
}

SimulatedFleet::~SimulatedFleet() = default;

std::vector<FleetMember> SimulatedFleet::Start() {
  std::vector<FleetMember> members;
  for (const std::string& fault : AssignFaults(options_.machines, options_.faults)) {
    FleetMember& member = members.emplace_back();
    member.fault = fault;
    for (const std::string& protocol : options_.protocols) {
      member.ports[protocol] = Serve(protocol, members.size() - 1, fault);
    }
  }
  farm_.Start();
  return members;
}

unsigned short SimulatedFleet::Serve(const std::string& protocol, std::size_t machine, const std::string& fault) {
  constexpr std::size_t kLastPort = 65535;
  const auto first = options_.ports.find(protocol);
  const std::size_t port = first == options_.ports.end() || first->second == 0 ? 0 : first->second + machine;
  if (port > kLastPort) {
    throw std::runtime_error("there are not enough ports after the first one of " + protocol);
  }
  const auto wanted = static_cast<unsigned short>(port);
  const std::string kind = protocol.substr(0, protocol.find('-'));
  std::vector<std::string> faults = FaultsOfSpec(fault, kind);
  const std::vector<std::string> ofAll = model_.Base()->FaultsOf(kind);
  faults.insert(faults.end(), ofAll.begin(), ofAll.end());
  if (fault == kDead) {
    return farm_.AddClosed(wanted);
  }
  if (protocol == "ipmi") {
    return ServeIpmi(wanted, faults);
  }
  HttpFarm::Site site = protocol == "redfish" ? MakeRedfish(machine, faults) : MakeCim(machine, faults);
  site.tls = protocol != "cim";
  site.latency = options_.latency;
  return farm_.Add(wanted, std::move(site));
}

HttpFarm::Site SimulatedFleet::MakeRedfish(std::size_t machine, const std::vector<std::string>& faults) {
  RedfishSite* site = redfish_
                          .emplace_back(std::make_unique<RedfishSite>(model_.Base(), model_.Redfish(machine), faults,
                                                                      IdentityOf(machine)))
                          .get();
  HttpFarm::Site served;
  served.handler = [site](const HttpRequest& request) { return site->Respond(request); };
  served.connectionFault = [site](std::string_view stage) { return site->Faults().Match({}, stage); };
  return served;
}

HttpFarm::Site SimulatedFleet::MakeCim(std::size_t machine, const std::vector<std::string>& faults) {
  CimSite* site =
      cim_.emplace_back(std::make_unique<CimSite>(*model_.Base(), model_.Cim(machine), IdentityOf(machine))).get();
  site->faults.Load(faults, model_.Base()->folder / "cim" / "faults.json");
  HttpFarm::Site served;
  served.handler = [site](const HttpRequest& request) { return site->server.Answer(request); };
  served.connectionFault = [site](std::string_view stage) { return site->faults.Match({}, stage); };
  return served;
}

unsigned short SimulatedFleet::ServeIpmi(unsigned short port, const std::vector<std::string>& faults) {
  Machine& machine = *ipmi_.emplace_back(std::make_unique<Machine>(*model_.Base()));
  machine.faults.clear();
  for (const std::string& fault : faults) {
    machine.faults.push_back("ipmi:" + fault);
  }
  return children_.emplace_back(MakeIpmiService(machine))->Start(port);
}

}  // namespace Kelvar::Simulator
