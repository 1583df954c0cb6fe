#pragma once

#include <string>

#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Tool {

// One self-contained page for a browser: a head, a piece for each machine in any order, and a foot. The data are JSON,
// packed; scripts of the page build what is shown. Nothing from a target is markup.

std::string PageHead();

/// Log entries beyond the newest few hundred are left out; the page says how many. `changes`: what differs from a
/// former run or a baseline, an array of JSON; empty: it was held against none.
std::string PagePiece(const InventoryReport& report, const std::string& changes = "");

std::string PageFoot();

}  // namespace Kelvar::Tool
