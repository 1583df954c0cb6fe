#pragma once

#include <string>
#include <vector>

#include "support/BmcSim.h"
#include "support/Command.h"

namespace Kelvar::Test {

/// How a foreign client logs in to a simulated machine.
struct ForeignLogin {
  std::string suite = "3";  ///< "" for a session of IPMI 1.5
  std::string password = "kelvar-demo";
  std::string host = "127.0.0.1";
};

/// ipmitool with a request such as {"fru", "print", "0"}.
CommandResult RunIpmiTool(const BmcSim& sim, const std::vector<std::string>& request, const ForeignLogin& login = {});

/// A program of FreeIPMI, such as ipmi-fru, with its own options.
CommandResult RunFreeIpmi(const std::string& program, const BmcSim& sim, const std::vector<std::string>& options,
                          const ForeignLogin& login = {});

}  // namespace Kelvar::Test
