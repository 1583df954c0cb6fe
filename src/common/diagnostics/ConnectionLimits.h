#pragma once

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>

#include <kelvar/ConnectionOptions.h>

namespace Kelvar {

/// The most bytes of a response by the options in force, and never more than `most`.
inline std::size_t ResponseLimit(std::size_t most) noexcept {
  const u64 limit = ConnectionOptionsScope::Current().response_limit_bytes;
  return limit == 0 ? most : std::min<std::size_t>(limit, most);
}

/// The most records of one list by the options in force, and never more than `most`.
inline std::size_t RecordLimit(std::size_t most) noexcept {
  const u32 limit = ConnectionOptionsScope::Current().record_limit;
  return limit == 0 ? most : std::min<std::size_t>(limit, most);
}

/// Before a record is appended: throws std::length_error when the list has as many as it may have.
template <class List>
void CheckRecordLimit(const List& list) {
  if (list.size() >= RecordLimit(list.max_size())) {
    throw std::length_error("more than " + std::to_string(list.size()) + " records");
  }
}

}  // namespace Kelvar
