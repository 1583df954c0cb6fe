#include <cmath>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/Printer.h"

namespace Kelvar::Tool {

namespace {

/// A text that a spreadsheet takes for itself.
std::string Harmless(const std::string& text) {
  const std::string escaped = Text::EscapeControl(text);
  const bool formula = !escaped.empty() && std::string_view("=+-@").find(escaped.front()) != std::string_view::npos;
  return formula ? "'" + escaped : escaped;
}

struct CellText {
  std::string operator()(const std::string& text) const { return Harmless(text); }
  std::string operator()(u64 number) const { return fmt::format("{}", number); }
  std::string operator()(float number) const { return std::isfinite(number) ? fmt::format("{}", number) : ""; }
  std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  std::string operator()(const std::vector<std::string>& texts) const {
    std::string all;
    for (const std::string& text : texts) {
      all += (all.empty() ? "" : "; ") + text;
    }
    return Harmless(all);
  }
};

std::string Quoted(const std::string& cell) {
  if (cell.find_first_of(",\"") == std::string::npos) {
    return cell;
  }
  std::string quoted = "\"";
  for (const char character : cell) {
    quoted += character == '"' ? "\"\"" : std::string(1, character);
  }
  return quoted + '"';
}

constexpr const char* lineFormat = "{},{},{},{},{},{}\r\n";  // target, what, status, record, field, value

}  // namespace

std::string CsvHead() {
  return "target,what,status,record,field,value\r\n";
}

std::string CsvText(const Report& report) {
  const std::string target = Quoted(Harmless(report.target));
  std::string text;
  if (!report.error.empty()) {
    text += fmt::format(lineFormat, target, "", NameOf(report.code), "", "", Quoted(Harmless(report.error)));
  }
  for (const OperationResult& result : report.results) {
    const char* const what = result.operation->name;
    const char* const status = NameOf(result.code);
    if (result.code != ExitCode::Complete) {
      text += fmt::format(lineFormat, target, what, status, "", "", Quoted(Harmless(ReasonOf(result))));
    }
    unsigned number = 0;
    for (const Record& record : result.records) {
      ++number;
      for (const auto& [name, value] : record) {
        text += fmt::format(lineFormat, target, what, status, number, name, Quoted(std::visit(CellText{}, value)));
      }
    }
  }
  return text;
}

}  // namespace Kelvar::Tool
