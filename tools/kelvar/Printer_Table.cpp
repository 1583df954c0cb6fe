#include <algorithm>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/Printer.h"
#include "tools/kelvar/inventory/TableLayout.h"

namespace Kelvar::Tool {

namespace {

std::string CellText(const Value& value) {
  return Text::EscapeControl(TextOf(value));
}

/// A line a field, for those that hold something.
void AppendKeyValues(std::string& text, const Record& record, Colour colour) {
  std::size_t width = 0;
  for (const auto& [name, value] : record) {
    width = std::max(width, IsEmpty(value) ? 0 : std::char_traits<char>::length(name));
  }
  for (const auto& [name, value] : record) {
    if (!IsEmpty(value)) {
      text += "  " + Dim(fmt::format("{:<{}}  ", name, width), colour) + CellText(value) + '\n';
    }
  }
}

/// The fields that hold something in any record.
std::vector<std::size_t> FieldsOf(const std::vector<Record>& records) {
  std::vector<std::size_t> fields;
  for (std::size_t field = 0; field < records.front().size(); ++field) {
    if (std::any_of(records.begin(), records.end(),
                    [field](const Record& record) { return !IsEmpty(record[field].second); })) {
      fields.push_back(field);
    }
  }
  return fields;
}

/// A column's title; thresholds that must not be compared with the readings say so.
std::string TitleOf(const char* field, bool rawThresholds) {
  const bool threshold = std::string_view(field).find("Threshold") != std::string_view::npos;
  return threshold && rawThresholds ? std::string(field) + " (raw)" : field;
}

std::vector<std::string> CellsOf(const Record& record, const std::vector<std::size_t>& fields) {
  std::vector<std::string> cells(fields.size());
  std::transform(fields.begin(), fields.end(), cells.begin(),
                 [&record](std::size_t field) { return CellText(record[field].second); });
  return cells;
}

/// A line a record. Where room is short, the last fields go first; what a log entry says stays.
std::string ColumnsText(const std::vector<Record>& records, bool rawThresholds, Colour colour, std::size_t width) {
  const std::vector<std::size_t> fields = FieldsOf(records);
  std::vector<TableColumn> columns(fields.size());
  std::transform(fields.begin(), fields.end(), columns.begin(), [&](std::size_t field) {
    const char* const name = records.front()[field].first;
    const int importance = std::string_view(name) == "Message" ? 1 : -static_cast<int>(field);
    return TableColumn{TitleOf(name, rawThresholds), importance, true};
  });
  std::vector<TableRow> rows(records.size());
  std::transform(records.begin(), records.end(), rows.begin(),
                 [&fields](const Record& record) { return TableRow{CellsOf(record, fields)}; });
  return LayoutTable(columns, rows, width, colour);
}

/// In colour: yellow where a part is missing, red where all is.
std::string HeadOf(const OperationResult& result, Colour colour) {
  const std::string name = Bold(result.operation->name, colour);
  if (result.code != ExitCode::Complete) {
    const auto severity = result.code == ExitCode::Partial ? Model::Health::Warning : Model::Health::Critical;
    return name + ": " + Coloured(Text::EscapeControl(ReasonOf(result)), severity, colour);
  }
  return name + (result.records.empty() ? ": nothing found" : "");
}

}  // namespace

std::string TableText(const Report& report, Colour colour, std::size_t width) {
  std::string text;
  for (const OperationResult& result : report.results) {
    const std::vector<Record>& records = result.records;
    text += std::string(text.empty() ? "" : "\n") + HeadOf(result, colour) + '\n';
    if (result.operation->layout == Operation::Layout::Columns && !records.empty()) {
      const bool raw = std::any_of(records.begin(), records.end(), [&report](const Record& record) {
        return !ThresholdsAreScaled(record, report.protocol);
      });
      text += ColumnsText(records, raw, colour, width);
    } else {
      for (const Record& record : records) {
        AppendKeyValues(text, record, colour);
      }
    }
  }
  return text;
}

}  // namespace Kelvar::Tool
