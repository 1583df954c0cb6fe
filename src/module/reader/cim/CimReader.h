#pragma once

#include "module/reader/FamilyReader.h"

namespace Kelvar::Reader {

/// Maps the fixed operations' records of a CIM server into the model.
void ReadCim(const ReadRequest& request, Model::Inventory& inventory);

}  // namespace Kelvar::Reader
