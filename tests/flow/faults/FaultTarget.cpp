#include "flow/faults/FaultTarget.h"

#include <kelvar/NodeFirmwareInventoryImpRedfish.h>
#include <kelvar/RedfishClient.h>

#include <algorithm>
#include <functional>

#include "module/nfw/inventory/BackendFactory.h"
#include "simulator/cim/CimService.h"
#include "simulator/redfish/RedfishServer.h"
#include "support/Loopback.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using MakeFacade = std::function<std::unique_ptr<NodeFirmwareInventory>(const KelvarConnection::ConnectionInfo& info)>;

/// A machine that one service in this process serves.
template <class Service>
class ServedTarget : public FaultTarget {
 public:
  ServedTarget(Simulator::Machine machine, unsigned connectionCase, const MakeFacade& make)
      : machine_(std::move(machine)),
        service_(machine_),
        inventory_(make(ConnectionTo(machine_, connectionCase, service_.Start(0)))) {}
  NodeFirmwareInventory& Inventory() override { return *inventory_; }

 private:
  Simulator::Machine machine_;
  Service service_;
  std::unique_ptr<NodeFirmwareInventory> inventory_;
};

/// The number after "time-limit ", taken out of the faults; 0 without one.
int TakeTimeLimit(std::vector<std::string>& faults) {
  const std::string name = "time-limit ";
  const auto found =
      std::find_if(faults.begin(), faults.end(), [&](const std::string& fault) { return fault.rfind(name, 0) == 0; });
  if (found == faults.end()) {
    return 0;
  }
  const int seconds = std::stoi(found->substr(name.size()));
  faults.erase(found);
  return seconds;
}

std::unique_ptr<NodeFirmwareInventory> MakeImpatient(const KelvarConnection::ConnectionInfo& info, int seconds) {
  auto client = std::make_unique<Rest::RedfishClient>();
  Rest::RedfishClient& setting = *client;
  BackendFactory parts;
  parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpRedfish>(info, std::move(client));
  setting.SetTimeout(seconds);
  return BackendFactory::MakeFacade(std::move(parts));
}

Simulator::Machine MachineOf(const TargetSpec& spec, const std::string& protocol,
                             const std::vector<std::string>& faults) {
  Simulator::Machine machine = Simulator::LoadMachine(spec.machine, kMachineFolder);
  machine.cimFlavour = spec.flavour;
  for (const std::string& fault : faults) {
    machine.faults.push_back(protocol + ':' + fault);
  }
  return machine;
}

}  // namespace

KelvarConnection::ConnectionInfo ConnectionTo(const Simulator::Machine& machine, unsigned connectionCase, u16 port) {
  KelvarConnection::ConnectionInfo info = LoopbackInfo(connectionCase, port);
  info.ZMCIndex = 1;
  info.UserName = machine.accounts.at(0).user;
  info.Password = machine.accounts.at(0).password;
  return info;
}

std::unique_ptr<FaultTarget> MakeRedfishTarget(const TargetSpec& spec) {
  std::vector<std::string> faults = spec.faults;
  const int timeLimit = TakeTimeLimit(faults);
  return std::make_unique<ServedTarget<Simulator::RedfishServer>>(
      MachineOf(spec, "redfish", faults), KelvarConnection::CONNECTION_CASE_REDFISH, [=](const auto& info) {
        return timeLimit > 0 ? MakeImpatient(info, timeLimit) : std::make_unique<NodeFirmwareInventory>(info);
      });
}

std::unique_ptr<FaultTarget> MakeCimTarget(const TargetSpec& spec) {
  return std::make_unique<ServedTarget<Simulator::CimService>>(
      MachineOf(spec, "cim", spec.faults), spec.connectionCase,
      [](const auto& info) { return std::make_unique<NodeFirmwareInventory>(info); });
}

}  // namespace Kelvar::Test
