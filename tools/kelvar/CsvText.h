#pragma once

#include <string>

namespace Kelvar::Tool {

/// A text as a cell of comma-separated values (RFC 4180), with control characters escaped. One that a spreadsheet would
/// take for a formula gets an apostrophe in front; a number does not.
std::string CsvCell(const std::string& text);

}  // namespace Kelvar::Tool
