#include <cmath>

#include <fmt/format.h>

#include "tools/kelvar/CsvText.h"
#include "tools/kelvar/Printer.h"

namespace Kelvar::Tool {

namespace {

struct CellText {
  std::string operator()(const std::string& text) const { return text; }
  std::string operator()(u64 number) const { return fmt::format("{}", number); }
  std::string operator()(float number) const { return std::isfinite(number) ? fmt::format("{}", number) : ""; }
  std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  std::string operator()(const std::vector<std::string>& texts) const {
    std::string all;
    for (const std::string& text : texts) {
      all += (all.empty() ? "" : "; ") + text;
    }
    return all;
  }
};

constexpr const char* kLineFormat = "{},{},{},{},{},{}\r\n";  // target, what, status, record, field, value

}  // namespace

std::string CsvHead() {
  return "target,what,status,record,field,value\r\n";
}

std::string CsvText(const Report& report) {
  const std::string target = CsvCell(report.target);
  std::string text;
  if (!report.error.empty()) {
    text += fmt::format(kLineFormat, target, "", NameOf(report.code), "", "", CsvCell(report.error));
  }
  for (const OperationResult& result : report.results) {
    const char* const what = result.operation->name;
    const char* const status = NameOf(result.code);
    if (result.code != ExitCode::Complete) {
      text += fmt::format(kLineFormat, target, what, status, "", "", CsvCell(ReasonOf(result)));
    }
    unsigned number = 0;
    for (const Record& record : result.records) {
      ++number;
      for (const auto& [name, value] : record) {
        text += fmt::format(kLineFormat, target, what, status, number, name, CsvCell(std::visit(CellText{}, value)));
      }
    }
  }
  return text;
}

}  // namespace Kelvar::Tool
