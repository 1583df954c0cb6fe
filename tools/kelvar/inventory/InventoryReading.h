#pragma once

#include <string>
#include <vector>

#include <kelvar/InventoryReader.h>

#include "tools/kelvar/Target.h"
#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Tool {

/// The families that words of the command line stand for, in the model's order, each once; none: all. Throws ToolError
/// (usage) for an unknown word, with a near miss named.
std::vector<Model::Family> FamiliesOf(const std::vector<std::string>& words);

/// Reads a target whose account is filled in. Whatever the target does ends in the report, never in an exception. Any
/// thread; `waiting` is told of pauses between two tries; blocks until the reader's deadline at most. `kept`, where
/// there is one, reads in place of a reader of its own, with the deadline of `options`.
InventoryReport ReadInventory(const Target& target, const std::vector<std::string>& words,
                              const InventoryReaderOptions& options, const Diagnostics::WaitListener& waiting = {},
                              InventoryReader* kept = nullptr);

}  // namespace Kelvar::Tool
