#pragma once

#include <filesystem>

namespace Kelvar::Simulator {

// Where the simulator finds what belongs to it: next to its executable in a build tree, in the folders that the
// executable's own place implies when installed. Throws std::runtime_error when there is nothing.

/// The folder of machines. `wanted`, when not empty, is it; else KELVAR_MACHINES of the environment.
std::filesystem::path MachineLibrary(const std::filesystem::path& wanted);

/// A shared object of the simulator, by its file name.
std::filesystem::path ModuleFile(const char* fileName);

}  // namespace Kelvar::Simulator
