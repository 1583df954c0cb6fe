#pragma once

#include <array>
#include <string>

#include <kelvar/NodeFirmwareInventory.h>

#include "support/BmcSim.h"

namespace Kelvar::Test {

using KelvarConnection::ConnectionInfo;

/// The machine that `sim` serves, over Redfish, CIM, IPMI.
std::array<ConnectionInfo, 3> TargetsOf(const BmcSim& sim);

/// What a new object for the target reads, as one text: build IDs alone, or all that the protocol offers, with numbers.
std::string ReadFirmware(const ConnectionInfo& target);
std::string ReadAll(const ConnectionInfo& target);

}  // namespace Kelvar::Test
