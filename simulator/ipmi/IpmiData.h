#pragma once

#include <filesystem>
#include <string>

#include "simulator/machine/Machine.h"

namespace Kelvar::Simulator {

/// What ipmi_sim and its OEM module read, as texts.
struct IpmiConfiguration {
  std::string emulator;  ///< commands that build the management controller
  std::string replies;   ///< reply table of the OEM module
  std::string guid;      ///< 32 hexadecimal digits
};

/// Reads ipmi.json of a machine and applies the faults that are on. Throws std::runtime_error when the data are wrong
/// or do not know a fault.
IpmiConfiguration ReadIpmiData(const Machine& machine);

/// lan.conf for IPv4 and, when wanted, IPv6 loopback.
std::string LanConfiguration(const Machine& machine, const IpmiConfiguration& data, unsigned short port, bool withIpv6,
                             const std::string& loadLibrary);

}  // namespace Kelvar::Simulator
