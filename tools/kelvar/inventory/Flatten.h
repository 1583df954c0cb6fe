#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/kelvar/inventory/Fields.h"

namespace Kelvar::Tool {

/// A record as texts in the order of its fields; what the target does not tell is empty.
using FlatRecord = std::vector<std::pair<const char*, std::string>>;

std::string FlatText(const std::string& text);
std::string FlatText(const std::optional<double>& number);
std::string FlatText(const std::optional<u64>& number);
std::string FlatText(const std::optional<u32>& number);
std::string FlatText(const std::optional<bool>& flag);
/// Joined by "; ".
std::string FlatText(const std::vector<std::string>& texts);
/// As "192.0.2.10/24; 2001:db8::10/64".
std::string FlatText(const std::vector<Model::NetworkAddress>& addresses);

template <typename Record>
FlatRecord Flatten(const Record& record) {
  FlatRecord flat;
  VisitFields(record, [&](const char* name, const auto& value) { flat.emplace_back(name, FlatText(value)); });
  return flat;
}

}  // namespace Kelvar::Tool
