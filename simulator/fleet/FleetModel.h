#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/cim/Repository.h"
#include "simulator/fleet/FleetIdentity.h"
#include "simulator/machine/Machine.h"
#include "simulator/machine/Variables.h"
#include "simulator/redfish/RedfishSite.h"

namespace Kelvar::Simulator {

/// How some machines of a fleet differ from the others, from "fleet" in machine.json; every `every`th from `at` on.
struct FleetDifference {
  std::size_t every = 1;
  std::size_t at = 0;
  std::map<std::string, std::string> variables;
  /// "/redfish/v1/Chassis/1/Power#/PowerSupplies/1" or "root/cimv2:QEL_PowerSupplyPackage#1".
  std::vector<std::string> without;

  bool Concerns(std::size_t machine) const { return machine % every == at; }
};

/// One machine as a fleet of its kind shares it: its data, read once for each combination of differences.
class FleetModel {
 public:
  /// Throws std::runtime_error when the data are wrong.
  explicit FleetModel(const Machine& machine);

  /// What a machine of this number says, but for the marks of its identity.
  std::shared_ptr<const RedfishData> Redfish(std::size_t machine);
  std::shared_ptr<const Cim::Repository> Cim(std::size_t machine);
  const std::shared_ptr<const Machine>& Base() const { return machine_; }

 private:
  /// One flag for each difference.
  using Combination = std::vector<bool>;

  Combination CombinationOf(std::size_t machine) const;
  Variables VariablesOf(const Combination& combination) const;
  std::vector<std::string> LacksOf(const Combination& combination) const;
  std::shared_ptr<const RedfishData> LoadRedfish(const Combination& combination) const;
  std::shared_ptr<const Cim::Repository> LoadCim(const Combination& combination) const;

  const std::shared_ptr<const Machine> machine_;
  std::vector<FleetDifference> differences_;
  const Variables variables_;
  IdentityIndex words_;
  std::map<Combination, std::shared_ptr<const RedfishData>> redfish_;
  std::map<Combination, std::shared_ptr<const Cim::Repository>> cim_;
};

}  // namespace Kelvar::Simulator
