#pragma once

#include <string>

#include <kelvar/Inventory.h>

namespace Kelvar::Test {

/// An inventory as text: a line for each family's result, then one for each record with what is not absent.
std::string RecordLines(const Model::Inventory& inventory);

}  // namespace Kelvar::Test
