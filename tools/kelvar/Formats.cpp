#include "tools/kelvar/Formats.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"
#include "tools/kelvar/inventory/InventoryReading.h"
#include "tools/kelvar/metrics/OpenMetrics.h"
#include "tools/kelvar/page/InventoryPage.h"

namespace Kelvar::Tool {

namespace {

std::string TableOf(const Report& report, const DocumentStyle& style) {
  if (report.operations) {
    return TableText(report, style.colour, style.width);
  }
  return TableText(*InventoryOf(report), {style.colour, style.width, style.columns});
}

std::string JsonOf(const Report& report) {
  return report.operations ? JsonText(report) : JsonText(*InventoryOf(report));
}

std::string IndentedJsonOf(const Report& report) {
  return report.operations ? IndentedJsonText(report) : IndentedJsonText(*InventoryOf(report));
}

/// Throws for a column that no family has, rather than show nothing.
void CheckColumns(const DocumentStyle& style) {
  if (!style.columns.empty()) {
    CsvColumns(FamiliesOf(style.families), style.columns);
  }
}

/// Throws for columns of a format that has none, rather than show everything.
void RefuseColumns(const DocumentStyle& style) {
  if (!style.columns.empty()) {
    throw ToolError(ExitCode::Usage, "--columns chooses columns of --format table and csv only");
  }
}

Formatter OneTable(const DocumentStyle& style) {
  CheckColumns(style);
  return {.textOf = [style](const Report& report) { return TableOf(report, style); }};
}

std::string TitledTable(const Report& report, const DocumentStyle& style) {
  const char* const bold = style.colour == Colour::Always ? "\x1b[1m" : "";
  const char* const plain = style.colour == Colour::Always ? "\x1b[0m" : "";
  std::string error = Text::EscapeControl(report.error);
  error.insert(0, error.empty() ? "" : ": ");
  return fmt::format("{}== {}{}: {}{} ({:.1f} s)\n", bold, Text::EscapeControl(report.target), plain,
                     DescriptionOf(report.code), error, report.seconds) +
         TableOf(report, style);
}

Formatter ManyTables(const DocumentStyle& style) {
  CheckColumns(style);
  return {.separator = "\n", .textOf = [style](const Report& report) { return TitledTable(report, style); }};
}

Formatter OneJson(const DocumentStyle& style) {
  RefuseColumns(style);
  return {.textOf = IndentedJsonOf};
}

Formatter JsonArray(const DocumentStyle& style) {
  RefuseColumns(style);
  return {.head = "[\n", .separator = ",\n", .foot = "]\n", .textOf = IndentedJsonOf};
}

Formatter JsonLines(const DocumentStyle& style) {
  RefuseColumns(style);
  return {.textOf = JsonOf};
}

Formatter Csv(const DocumentStyle& style) {
  if (style.operations) {
    return {.head = CsvHead(), .textOf = [](const Report& report) { return CsvText(report); }};
  }
  const std::vector<std::string> columns = CsvColumns(FamiliesOf(style.families), style.columns);
  return {.head = CsvHead(columns),
          .textOf = [columns](const Report& report) { return CsvText(*InventoryOf(report), columns); }};
}

Formatter Html(const DocumentStyle& style) {
  RefuseColumns(style);
  return {.head = PageHead(), .foot = PageFoot(), .textOf = [](const Report& report) {
            return PagePiece(*InventoryOf(report));
          }};
}

/// A metric's samples of all targets come together, so that the document is made at its end.
Formatter OpenMetrics(const DocumentStyle& style) {
  RefuseColumns(style);
  const auto document = std::make_shared<OpenMetricsDocument>();
  return {.textOf =
              [document](const Report& report) {
                document->Add(*InventoryOf(report));
                return std::string();
              },
          .summary = [document] { return document->Text(); }};
}

constexpr Format kFormats[] = {
    {"table", OneTable, ManyTables, true, true}, {"json", OneJson, JsonArray, true, true},
    {"jsonl", JsonLines, JsonLines, true, true}, {"csv", Csv, Csv, true, false},
    {"html", Html, Html, false, true},           {"openmetrics", OpenMetrics, OpenMetrics, false, false},
};

}  // namespace

std::string DocumentOf(const Formatter& formatter, const Report& report) {
  const std::string text = formatter.textOf(report);
  return formatter.head + text + (formatter.summary ? formatter.summary() : formatter.foot);
}

std::string JsonLineOf(const Report& report) {
  return JsonOf(report);
}

const Format& FormatNamed(std::string_view name) {
  const auto found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                  [name](const Format& format) { return name == format.name; });
  if (found == std::end(kFormats)) {
    throw ToolError(ExitCode::Usage, "no such format: " + std::string(name));
  }
  return *found;
}

std::vector<std::string> FormatNames(bool operations) {
  std::vector<std::string> names;
  for (const Format& format : kFormats) {
    if (format.operations || !operations) {
      names.emplace_back(format.name);
    }
  }
  return names;
}

}  // namespace Kelvar::Tool
