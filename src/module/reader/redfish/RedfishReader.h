#pragma once

#include "module/reader/FamilyReader.h"

namespace Kelvar::Reader {

/// Reads a Redfish service by its links.
void ReadRedfish(const ReadRequest& request, Model::Inventory& inventory);

/// Closes the session that an earlier reading has left in `request.kept`.
void CloseRedfish(const ReadRequest& request);

}  // namespace Kelvar::Reader
