#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/fleet/FleetModel.h"
#include "simulator/http/HttpFarm.h"
#include "simulator/machine/Machine.h"

namespace Kelvar::Simulator {

struct FleetOptions {
  std::size_t machines = 1;
  /// Of "redfish", "cim", "cim-https" and "ipmi".
  std::vector<std::string> protocols;
  /// First port of a protocol, the next machine's being the next one; free ones when absent or 0.
  std::map<std::string, unsigned short> ports;
  /// As AssignFaults takes them.
  std::vector<std::string> faults;
  std::chrono::milliseconds latency{0};
};

/// A machine of a fleet, ready to answer.
struct FleetMember {
  std::string fault;
  std::map<std::string, unsigned short> ports;
};

/// Many machines of one kind, each with serial numbers of its own, in this process but for IPMI, which costs a child
/// process each.
class SimulatedFleet {
 public:
  /// Throws std::runtime_error or std::invalid_argument with a text for people.
  SimulatedFleet(const Machine& machine, const FleetOptions& options);
  ~SimulatedFleet();

  /// Begins to serve. Belongs to the main thread. Once only.
  std::vector<FleetMember> Start();

  /// The child processes' services.
  const std::vector<std::unique_ptr<Service>>& Children() const { return children_; }

 private:
  struct CimSite;

  unsigned short Serve(const std::string& protocol, std::size_t machine, const std::string& fault);
  HttpFarm::Site MakeRedfish(std::size_t machine, const std::vector<std::string>& faults);
  HttpFarm::Site MakeCim(std::size_t machine, const std::vector<std::string>& faults);
  unsigned short ServeIpmi(unsigned short port, const std::vector<std::string>& faults);

  const FleetOptions options_;
  FleetModel model_;
  std::vector<std::unique_ptr<RedfishSite>> redfish_;
  std::vector<std::unique_ptr<CimSite>> cim_;
  std::vector<std::unique_ptr<Machine>> ipmi_;
  std::vector<std::unique_ptr<Service>> children_;
  // Last, so that its threads end first.
  HttpFarm farm_;
};

}  // namespace Kelvar::Simulator
