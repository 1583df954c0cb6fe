#pragma once

#include <string>

#include "tools/kelvar/Report.h"

namespace Kelvar::Tool {

enum class Colour { Never, Always };

/// For people, in lines of at most `width` characters where that is more than 0, as far as columns go. What came from
/// the target is escaped.
std::string TableText(const Report& report, Colour colour, std::size_t width);

/// For programs: one JSON object in ASCII on one line, with "format_version"; docs/report.schema.json describes it.
/// Bytes that are not UTF-8 are written as \xNN in the texts.
std::string JsonText(const Report& report);

/// The same over several lines, indented.
std::string IndentedJsonText(const Report& report);

/// The first line of comma-separated values.
std::string CsvHead();

/// For spreadsheets: a line a field (RFC 4180), and a line for each part that is not complete. A text that a
/// spreadsheet would take for a formula gets an apostrophe in front.
std::string CsvText(const Report& report);

}  // namespace Kelvar::Tool
