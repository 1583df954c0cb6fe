#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include <kelvar/NodeFirmwareInventory.h>

namespace Kelvar::Test {

/// What an operation gave its caller. Of a single record `records` tells whether it was filled, of build IDs how many
/// there are.
struct Outcome {
  int result = 0;
  std::size_t records = 0;
  bool operator==(const Outcome&) const = default;
};

inline void PrintTo(const Outcome& outcome, std::ostream* stream) {
  *stream << "result " << outcome.result << ", records " << outcome.records;
}

using Operation = Outcome (*)(NodeFirmwareInventory& target);

/// By the name that catalogues use. Throws std::out_of_range for another one.
Operation OperationNamed(const std::string& name);

}  // namespace Kelvar::Test
