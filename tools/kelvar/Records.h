#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <kelvar/InventoryRecords.h>
#include <kelvar/NodeFirmwareInventory.h>

namespace Kelvar::Tool {

using Value = std::variant<std::string, u64, float, bool, std::vector<std::string>>;

/// One record as its fields in their order, under the names that they have in the library.
using Record = std::vector<std::pair<const char*, Value>>;

/// A record of a fixed operation.
template <class R>
Record RecordOf(const R& record);

/// A field of a record, or null.
const Value* FieldOf(const Record& record, std::string_view name);

/// A value as people read it, with the target's bytes as they are: escape it for where it goes.
std::string TextOf(const Value& value);

/// Whether the target gave nothing for a field: an empty text, list or flag, or the number 0.
bool IsEmpty(const Value& value);

/// Whether any field holds a fact. Words of the library for what the target did not give, and numbers that count
/// records, are none; neither is a flag.
bool HoldsFact(const Record& record);

}  // namespace Kelvar::Tool
