#pragma once

#include "module/reader/FamilyReader.h"

namespace Kelvar::Reader {

/// Reads a target over IPMI by the records of the standard: controller, FRU areas, sensor data records, event log, LAN
/// parameters. Opens one session, reads in the order that fails least, and closes it.
void ReadIpmi(const ReadRequest& request, Model::Inventory& inventory);

}  // namespace Kelvar::Reader
