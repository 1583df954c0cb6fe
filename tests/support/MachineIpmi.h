#pragma once

#include "simulator/ipmi/IpmiData.h"
#include "support/IpmiSim.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {

/// A simulated machine, with its faults, as IpmiSim serves it.
inline IpmiSimConfig MachineIpmi(const Simulator::Machine& machine) {
  const Simulator::IpmiConfiguration data = Simulator::ReadIpmiData(machine);
  IpmiSimConfig config;
  config.users = {{machine.accounts.at(0).user, machine.accounts.at(0).password}};
  config.module = kIpmiModule;
  config.moduleLines = {data.replies};
  config.emulator = data.emulator;
  return config;
}

}  // namespace Kelvar::Test
