#include <array>

#include "flow/faults/FaultTarget.h"
#include "flow/faults/RelayFault.h"
#include "module/nfw/inventory/BackendFactory.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/MachineIpmi.h"
#include "support/TestPlaces.h"
#include "transport/ipmi/IpmiClient.h"

namespace Kelvar::Test {
namespace {

/// Silence of a command takes 712 ms: the last wait is long, for machines with much else to do.
constexpr IpmiTimings kTimings{50, 400, 4, 5000, 30000};

/// The faults of a row, by where they strike.
struct IpmiFaults {
  std::vector<RelayFault> relay;
  std::vector<std::string> rules;
  std::string password;
};

IpmiFaults Sort(const TargetSpec& spec, Simulator::Machine& machine) {
  const std::string password = "password ";
  IpmiFaults faults;
  for (const std::string& fault : spec.faults) {
    if (const auto onTheWay = RelayFault::Parse(fault)) {
      faults.relay.push_back(*onTheWay);
    } else if (fault.rfind("rule ", 0) == 0) {
      faults.rules.push_back(fault);
    } else if (fault.rfind(password, 0) == 0) {
      faults.password = fault.substr(password.size());
    } else {
      machine.faults.push_back("ipmi:" + fault);
    }
  }
  return faults;
}

IpmiSimConfig ConfigOf(const Simulator::Machine& machine, const IpmiFaults& faults) {
  IpmiSimConfig config = MachineIpmi(machine);
  config.moduleLines.insert(config.moduleLines.begin(), faults.rules.begin(), faults.rules.end());
  return config;
}

class IpmiTarget : public FaultTarget {
 public:
  IpmiTarget(const TargetSpec& spec, const Simulator::Machine& machine, IpmiFaults faults)
      : faults_(std::move(faults.relay)),
        sim_(ConfigOf(machine, faults)),
        relay_(sim_.Port(), [this](Towards towards, std::size_t number, std::vector<u8>& datagram) {
          return Pass(towards, number, datagram);
        }) {
    auto info = ConnectionTo(machine, KelvarConnection::CONNECTION_CASE_IPMI_LAN, relay_.Port());
    info.Password = faults.password.empty() ? info.Password : faults.password;
    auto client =
        std::make_unique<IpmiClient>(info.Host, info.UserName, info.Password, std::to_string(info.Port), spec.suite);
    client->SetTimings(kTimings);
    BackendFactory parts;
    parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpIPMI>(info, std::move(client));
    inventory_ = BackendFactory::MakeFacade(std::move(parts));
  }
  NodeFirmwareInventory& Inventory() override { return *inventory_; }

 private:
  /// On the relay's thread.
  Fate Pass(Towards towards, std::size_t number, std::vector<u8>& datagram) {
    const std::vector<u8> before = std::exchange(before_[towards == Towards::Server ? 0 : 1], datagram);
    for (const RelayFault& fault : faults_) {
      if (!fault.Strikes(towards, number)) {
        continue;
      }
      if (fault.Restarts()) {
        sim_.Stop();
        sim_.Start();
      }
      return fault.Spoil(datagram, before);
    }
    return {};
  }

  const std::vector<RelayFault> faults_;
  std::array<std::vector<u8>, 2> before_;
  IpmiSim sim_;
  UdpRelay relay_;
  std::unique_ptr<NodeFirmwareInventory> inventory_;
};

}  // namespace

std::unique_ptr<FaultTarget> MakeIpmiTarget(const TargetSpec& spec) {
  Simulator::Machine machine = Simulator::LoadMachine(spec.machine, kMachineFolder);
  IpmiFaults faults = Sort(spec, machine);
  return std::make_unique<IpmiTarget>(spec, machine, std::move(faults));
}

}  // namespace Kelvar::Test
