#pragma once

#include <string>

#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Tool {

/// What the list of machines shows of one: a JSON object in ASCII without a line end.
std::string SummaryJson(const InventoryReport& report);

}  // namespace Kelvar::Tool
