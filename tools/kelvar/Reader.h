#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <kelvar/InventoryReader.h>

#include "tools/kelvar/Report.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

struct ReadOptions {
  std::vector<std::string> what;       ///< families, or operations; empty: everything that the target offers
  bool operations = false;             ///< the library's fixed operations are read, not the inventory
  InventoryReaderOptions reader = {};  ///< of the inventory
  std::string severity = {};           ///< least one of log entries, "warning" or "critical"; empty: any
  bool commonEventId = false;          ///< CIM: the event log with common event IDs
  /// Told of each fixed operation that begins: its position from 1 and how many there are. On the reading thread.
  std::function<void(const Operation& operation, std::size_t position, std::size_t count)> begin = {};
  /// Of the inventory: a reader that outlives the reading, made for the target with ReaderOptionsFor(). It reads with
  /// the deadline of `reader` alone.
  InventoryReader* kept = nullptr;
  /// Told of pauses between two tries, as Diagnostics::WaitListener is.
  Diagnostics::WaitListener waiting = {};
};

/// Told of every result as soon as it is there, on the reading thread. False ends the reading after it.
using Progress = std::function<bool(const OperationResult& result)>;

/// What a reader of the inventory is made with.
InventoryReaderOptions ReaderOptionsFor(const Target& target, const ReadOptions& options);

/// Throws ToolError (usage) for a word that is not a family (with `operations`: not an operation), and (unsupported)
/// for an operation that the protocol lacks.
void CheckWords(const std::vector<std::string>& what, bool operations, Protocol protocol);

/// Connects to a target whose user name and password are filled in, and reads. With `partner`, a CIM target, a Redfish
/// target's components are listed over CIM. After a refused login nothing more is asked; neither is it of a target that
/// could not be reached or is not the expected service. Whatever the target does ends in the report, never in an
/// exception; throws as CheckWords() does. Any thread, one reading a thread; blocks as long as the library does.
Report ReadTarget(const Target& target, const std::optional<Target>& partner, const ReadOptions& options,
                  const Progress& progress = {});

}  // namespace Kelvar::Tool
