#pragma once

#include <memory>
#include <string>
#include <vector>

#include <kelvar/NodeFirmwareInventory.h>

#include "simulator/machine/Machine.h"

namespace Kelvar::Test {

/// What a row of a catalogue says about its target.
struct TargetSpec {
  std::string machine;
  std::string flavour;          ///< of CIM
  unsigned connectionCase = 0;  ///< of CIM
  unsigned suite = 0;           ///< of IPMI: cipher suite asked for
  std::vector<std::string> faults;
};

/// A simulated machine with its faults on, and the library's object for it.
class FaultTarget {
 public:
  virtual ~FaultTarget() = default;
  virtual NodeFirmwareInventory& Inventory() = 0;
};

using MakeFaultTarget = std::unique_ptr<FaultTarget> (*)(const TargetSpec& spec);

/// Faults are those of the simulator's --fault, without the protocol in front. Redfish has another one,
/// "time-limit SECONDS", for each transfer of the library.
std::unique_ptr<FaultTarget> MakeRedfishTarget(const TargetSpec& spec);
std::unique_ptr<FaultTarget> MakeCimTarget(const TargetSpec& spec);

/// Faults are names of the machine's ipmi.json, "rule ..." as its module reads rules, "request ..." and "reply ..."
/// (see RelayFault), and "password TEXT", with which the library then logs in.
std::unique_ptr<FaultTarget> MakeIpmiTarget(const TargetSpec& spec);

/// The machine's address and first account.
KelvarConnection::ConnectionInfo ConnectionTo(const Simulator::Machine& machine, unsigned connectionCase, u16 port);

}  // namespace Kelvar::Test
