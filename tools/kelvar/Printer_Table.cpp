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
class Paint {
 public:
  explicit Paint(Colour colour) : on_(colour == Colour::Always) {}

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
void AppendSheet(std::string& text, const Record& record, const Paint& paint) {
  std::size_t width = 0;
  for (const auto& [name, value] : record) {
    width = std::max(width, IsEmpty(value) ? 0 : std::char_traits<char>::length(name));
  }
  for (const auto& [name, value] : record) {
    if (!IsEmpty(value)) {
      std::string line;
      AppendPadded(line, name, width);
      EndLine(text, paint.Dim(line) + CellText(value));
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

void AppendColumns(std::string& text, const std::vector<Record>& records, const Paint& paint) {
  const auto columns = ColumnsOf(records);
  std::string head;
  for (const auto& [field, width] : columns) {
    AppendPadded(head, records.front()[field].first, width);
  }
  head.erase(head.find_last_not_of(' ') + 1);
  EndLine(text, paint.Dim(head));
  for (const Record& record : records) {
    std::string line;
    for (const auto& [field, width] : columns) {
      AppendPadded(line, CellText(record[field].second), width);
    }
    EndLine(text, line);
  }
}

std::string HeadOf(const Report::Entry& entry, const Paint& paint) {
  const std::string name = paint.Bold(entry.command->name);
  if (entry.code != ExitCode::Complete) {
    return name + ": " + paint.Note(entry.code, NoteOf(entry));
  }
  return name + (entry.outcome.records.empty() ? ": nothing found" : "");
}

}  // namespace

std::string TableText(const Report& report, Colour colour) {
  const Paint paint(colour);
  std::string text;
  for (const Report::Entry& entry : report.entries) {
    const std::vector<Record>& records = entry.outcome.records;
    text += std::string(text.empty() ? "" : "\n") + HeadOf(entry, paint) + '\n';
    if (entry.command->layout == Layout::Columns && !records.empty()) {
      AppendColumns(text, records, paint);
    } else {
      for (const Record& record : records) {
        AppendSheet(text, record, paint);
      }
    }
  }
  return text;
}

}  // namespace Kelvar::Tool
