#pragma once

#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Test {

/// A machine with a stopped fan, an absent power supply, and texts that no output may pass on as they are. Every field
/// of every record is filled in at least once.
Tool::InventoryReport SampleReport();

}  // namespace Kelvar::Test
