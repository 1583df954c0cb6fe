#pragma once

#include <string>

namespace Kelvar::Test {

// Programs of this build. Empty where one is not built.
extern const char* const kToolProgram;
extern const char* const kSimulatorProgram;
extern const char* const kIpmiModule;  ///< what ipmi_sim loads

// Folders of the source tree.
extern const char* const kMachineFolder;
extern const char* const kExpectations;     ///< what a machine is expected to show, a file for each
extern const char* const kFaultCatalogues;  ///< what goes wrong on a wire, a file for each protocol

/// The path of a file of the source tree.
std::string InTree(const std::string& path);

}  // namespace Kelvar::Test
