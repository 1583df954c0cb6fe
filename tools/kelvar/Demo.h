#pragma once

#include <string>

#include <sys/types.h>

#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// A simulated machine, started for the life of the object. Its address is
///   demo:[redfish|cim|ipmi][?machine=NAME]
/// and stands for Redfish and the machine "full" where it names none. The simulator is the program kelvar-bmcsim beside
/// this program, or the one on the PATH. It ends with this process, whatever ends it.
class DemoMachine {
 public:
  /// Throws ToolError: usage for an address of another form or a machine that the simulator does not have, internal
  /// when it does not start.
  explicit DemoMachine(const std::string& address);
  ~DemoMachine();
  DemoMachine(const DemoMachine&) = delete;
  DemoMachine& operator=(const DemoMachine&) = delete;

  /// The machine with its account.
  const Target& Address() const { return target_; }

  /// Whether an address is of this kind.
  static bool Names(const std::string& address);

 private:
  pid_t child_ = -1;
  int input_ = -1;  ///< the simulator ends when this closes
  Target target_;
};

}  // namespace Kelvar::Tool
