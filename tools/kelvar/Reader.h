#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/Report.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

struct ReadOptions {
  std::vector<std::string> what;  ///< empty: everything that the target offers
  bool commonEventId = false;     ///< CIM: the event log with common event IDs
};

/// Told of every part as soon as it is read, on the reading thread. False ends the reading after that part.
using Progress = std::function<bool(const Report::Entry& entry)>;

/// The commands that `what` stands for over a protocol. Throws ToolError: usage for an unknown word, unsupported for
/// one that the protocol lacks.
std::vector<const Command*> CommandsFor(const std::vector<std::string>& what, Protocol protocol);

/// Connects to a target whose user name and password are filled in, and reads. With `partner`, a CIM target, a Redfish
/// target's components are listed over CIM. Whatever the target does ends in the report, never in an exception; throws
/// as CommandsFor does. Any thread, one reading a thread; blocks as long as the library does.
Report ReadTarget(const Target& target, const std::optional<Target>& partner, const ReadOptions& options, LogWatch& log,
                  const Progress& progress = {});

}  // namespace Kelvar::Tool
