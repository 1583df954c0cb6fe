#pragma once

#include "module/reader/FamilyReader.h"

namespace Kelvar::Reader {

/// Reads a Redfish service by its links.
void ReadRedfish(const ReadRequest& request, Model::Inventory& inventory);

}  // namespace Kelvar::Reader
