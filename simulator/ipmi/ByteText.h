#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Simulator {

using Bytes = std::vector<u8>;

/// Bytes as the data files write them: hexadecimal pairs and texts in single quotes, blanks between, as in
/// "00 01 'ABC'". Throws std::runtime_error.
Bytes BytesOf(std::string_view text);

/// As hexadecimal digits without blanks; "" for no bytes.
std::string HexOf(const Bytes& bytes);

/// A pattern of a request: hexadecimal pairs, ".." for any byte; "-" when it is empty.
std::string PatternOf(std::string_view text);

}  // namespace Kelvar::Simulator
