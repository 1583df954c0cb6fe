#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kelvar/Printer.h"
#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Tool {

enum class JsonContent {
  All,
  Verdict,  ///< all but the records
};

/// For programs: one JSON object in ASCII on one line, "format_version" 2; docs/inventory.schema.json describes it.
/// What the target does not report has no key. Bytes that are not UTF-8 are written as \xNN.
std::string JsonText(const InventoryReport& report, JsonContent content = JsonContent::All);

/// The same over several lines, indented.
std::string IndentedJsonText(const InventoryReport& report, JsonContent content = JsonContent::All);

/// One log entry, as an object of JSON on a line of its own, with the keys of "logs".
std::string JsonText(const Model::LogEntry& entry);

/// One log entry for people, on a line.
std::string LogLine(const Model::LogEntry& entry, Colour colour);

/// Columns of comma-separated values: "target", "family", "status", "reason", then the keys of the families' records,
/// each once; of these the ones in `columns` in their order, where that is not empty.
std::vector<std::string> CsvColumns(const std::vector<Model::Family>& families,
                                    const std::vector<std::string>& columns);

/// The line with the columns' names.
std::string CsvHead(const std::vector<std::string>& columns);

/// For spreadsheets (RFC 4180): a line a record, and a line for each family that is not complete. A text that a
/// spreadsheet would take for a formula gets an apostrophe in front.
std::string CsvText(const InventoryReport& report, const std::vector<std::string>& columns);

struct TableStyle {
  Colour colour = Colour::Never;
  std::size_t width = 80;            ///< of the terminal; 0: no bound
  std::vector<std::string> columns;  ///< keys that are shown; empty: the usual ones
};

/// For people: the verdict, then the families. What came from the target is escaped.
std::string TableText(const InventoryReport& report, const TableStyle& style);

/// The verdict alone, with a line for each reason, or several where that is wider than `width`; 0: no bound.
std::string VerdictText(const Model::Verdict& verdict, Colour colour, std::size_t width);
/// Those lines alone.
std::string ReasonLines(const Model::Verdict& verdict, Colour colour, std::size_t width);

}  // namespace Kelvar::Tool
