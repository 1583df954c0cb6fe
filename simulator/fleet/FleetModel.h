#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulator/cim/Repository.h"
#include "simulator/fleet/FleetIdentity.h"
#include "simulator/machine/Facts.h"
#include "simulator/machine/Machine.h"
#include "simulator/redfish/RedfishSite.h"

namespace Kelvar::Simulator {

/// How some machines of a fleet differ from the others, from "fleet" in machine.json; every `every`th from `at` on.
struct FleetDifference {
  std::size_t every = 1;
  std::size_t at = 0;
  FleetIdentity::FactTexts facts;
  /// "/redfish/v1/Chassis/1/Power#/PowerSupplies/1" or "root/cimv2:QEL_PowerSupplyPackage#1".
  std::vector<std::string> without;

  bool Concerns(std::size_t machine) const { return machine % every == at; }
};

/// One machine as a fleet of its kind shares it: its data, read once for each set of things that some machines lack.
class FleetModel {
 public:
  /// Throws std::runtime_error when the data are wrong.
  explicit FleetModel(const Machine& machine);

  std::shared_ptr<const RedfishData> Redfish(std::size_t machine);
  std::shared_ptr<const Cim::Repository> Cim(std::size_t machine);
  /// What turns these into what one machine says.
  FleetIdentity IdentityOf(std::size_t machine);
  const std::shared_ptr<const Machine>& Base() const { return machine_; }

 private:
  using Lacks = std::set<std::string>;

  Lacks LacksOf(std::size_t machine) const;
  std::shared_ptr<const RedfishData> LoadRedfish(const Lacks& lacks) const;
  std::shared_ptr<const Cim::Repository> LoadCim(const Lacks& lacks) const;

  const std::shared_ptr<const Machine> machine_;
  std::vector<FleetDifference> differences_;
  Facts facts_;
  /// The facts in which machines differ.
  FleetIdentity::FactTexts varying_;
  IdentityWords words_;
  std::map<Lacks, std::shared_ptr<const RedfishData>> redfish_;
  std::map<Lacks, std::shared_ptr<const Cim::Repository>> cim_;
  std::map<std::vector<bool>, std::shared_ptr<const FleetIdentity::FactTexts>> factTexts_;
};

}  // namespace Kelvar::Simulator
