#include <algorithm>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/Printer.h"

namespace Kelvar::Tool {

namespace {

std::string CellText(const Value& value) {
  return Text::EscapeControl(TextOf(value));
}

/// Characters, for padding: bytes of UTF-8 that do not continue one.
std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (static_cast<u8>(byte) & 0xC0) != 0x80; }));
}

/// Escape sequences around a text, when colour is wanted.
class AnsiStyle {
 public:
  explicit AnsiStyle(Colour colour) : on_(colour == Colour::Always) {}

  std::string Bold(const std::string& text) const { return Wrap("1", text); }
  std::string Dim(const std::string& text) const { return Wrap("2", text); }
  std::string Note(ExitCode code, const std::string& text) const {
    return Wrap(code == ExitCode::Partial ? "33" : "31", text);
  }

 private:
  std::string Wrap(const char* attribute, const std::string& text) const {
    return on_ ? fmt::format("\x1b[{}m{}\x1b[0m", attribute, text) : text;
  }

  bool on_;
};

void AppendPadded(std::string& line, const std::string& text, std::size_t width) {
  line += text;
  line.append(width + 2 - std::min(width, Width(text)), ' ');
}

void EndLine(std::string& text, std::string line) {
  line.erase(line.find_last_not_of(' ') + 1);
  text += "  " + line + '\n';
}

/// A line a field, for those that hold something.
void AppendKeyValues(std::string& text, const Record& record, const AnsiStyle& ansi) {
  std::size_t width = 0;
  for (const auto& [name, value] : record) {
    width = std::max(width, IsEmpty(value) ? 0 : std::char_traits<char>::length(name));
  }
  for (const auto& [name, value] : record) {
    if (!IsEmpty(value)) {
      std::string line;
      AppendPadded(line, name, width);
      EndLine(text, ansi.Dim(line) + CellText(value));
    }
  }
}

/// The fields that hold something in any record, each with the width of its column.
std::vector<std::pair<std::size_t, std::size_t>> ColumnsOf(const std::vector<Record>& records) {
  std::vector<std::pair<std::size_t, std::size_t>> columns;
  for (std::size_t field = 0; field < records.front().size(); ++field) {
    bool any = false;
    std::size_t width = std::char_traits<char>::length(records.front()[field].first);
    for (const Record& record : records) {
      any = any || !IsEmpty(record[field].second);
      width = std::max(width, Width(CellText(record[field].second)));
    }
    if (any) {
      columns.emplace_back(field, width);
    }
  }
  return columns;
}

/// A column's title; thresholds that must not be compared with the readings say so.
std::string TitleOf(const char* field, bool rawThresholds) {
  const bool threshold = std::string_view(field).find("Threshold") != std::string_view::npos;
  return threshold && rawThresholds ? std::string(field) + " (raw)" : field;
}

void AppendColumns(std::string& text, const std::vector<Record>& records, bool rawThresholds, const AnsiStyle& ansi) {
  auto columns = ColumnsOf(records);
  std::string head;
  for (auto& [field, width] : columns) {
    const std::string title = TitleOf(records.front()[field].first, rawThresholds);
    width = std::max(width, title.size());
    AppendPadded(head, title, width);
  }
  head.erase(head.find_last_not_of(' ') + 1);
  EndLine(text, ansi.Dim(head));
  for (const Record& record : records) {
    std::string line;
    for (const auto& [field, width] : columns) {
      AppendPadded(line, CellText(record[field].second), width);
    }
    EndLine(text, line);
  }
}

std::string HeadOf(const OperationResult& result, const AnsiStyle& ansi) {
  const std::string name = ansi.Bold(result.operation->name);
  if (result.code != ExitCode::Complete) {
    return name + ": " + ansi.Note(result.code, Text::EscapeControl(ReasonOf(result)));
  }
  return name + (result.records.empty() ? ": nothing found" : "");
}

}  // namespace

std::string TableText(const Report& report, Colour colour) {
  const AnsiStyle ansi(colour);
  std::string text;
  for (const OperationResult& result : report.results) {
    const std::vector<Record>& records = result.records;
    text += std::string(text.empty() ? "" : "\n") + HeadOf(result, ansi) + '\n';
    if (result.operation->layout == Operation::Layout::Columns && !records.empty()) {
      const bool raw = std::any_of(records.begin(), records.end(), [&report](const Record& record) {
        return !ThresholdsAreScaled(record, report.protocol);
      });
      AppendColumns(text, records, raw, ansi);
    } else {
      for (const Record& record : records) {
        AppendKeyValues(text, record, ansi);
      }
    }
  }
  return text;
}

}  // namespace Kelvar::Tool
