#pragma once

#include <memory>

#include "simulator/machine/Machine.h"

namespace Kelvar::Simulator {

/// IPMI of the machine (RMCP+ and IPMI 1.5 sessions) by ipmi_sim of the package openipmi, as a child process. Start()
/// belongs to the main thread: the child ends with the thread that started it.
std::unique_ptr<Service> MakeIpmiService(const Machine& machine);

}  // namespace Kelvar::Simulator
