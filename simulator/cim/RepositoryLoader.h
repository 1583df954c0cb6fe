#pragma once

#include <filesystem>
#include <string>

#include "simulator/cim/Repository.h"
#include "simulator/machine/Variables.h"

namespace Kelvar::Simulator::Cim {

/// Reads what a machine's folder cim/ publishes: <namespace>/<Class>.json for each class, and server.json, whose
/// "namespaces" lets one namespace include the classes of others, and whose "flavours" narrow the whole to one kind of
/// target. An empty flavour keeps everything. README.md tells the format.
///
/// Throws std::runtime_error with the file and the reason.
Repository LoadRepository(const std::filesystem::path& folder, const std::string& flavour, const Variables& variables);

}  // namespace Kelvar::Simulator::Cim
