#include "tools/kelvar/Formats.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/html/HtmlPage.h"

namespace Kelvar::Tool {

namespace {

Formatter OneTable(Colour colour) {
  return {.textOf = [colour](const Report& report) { return TableText(report, colour); }};
}

std::string TitledTable(const Report& report, Colour colour) {
  const char* const bold = colour == Colour::Always ? "\x1b[1m" : "";
  const char* const plain = colour == Colour::Always ? "\x1b[0m" : "";
  std::string error = Text::EscapeControl(report.error);
  error.insert(0, error.empty() ? "" : ": ");
  return fmt::format("{}== {}{}: {}{} ({:.1f} s)\n", bold, Text::EscapeControl(report.target), plain,
                     DescriptionOf(report.code), error, report.seconds) +
         TableText(report, colour);
}

Formatter ManyTables(Colour colour) {
  return {.separator = "\n", .textOf = [colour](const Report& report) { return TitledTable(report, colour); }};
}

Formatter OneJson(Colour /*colour*/) {
  return {.textOf = IndentedJsonText};
}

Formatter JsonArray(Colour /*colour*/) {
  return {.head = "[\n", .separator = ",\n", .foot = "]\n", .textOf = IndentedJsonText};
}

Formatter JsonLines(Colour /*colour*/) {
  return {.textOf = JsonText};
}

Formatter Csv(Colour /*colour*/) {
  return {.head = CsvHead(), .textOf = CsvText};
}

Formatter Html(Colour /*colour*/) {
  const auto page = std::make_shared<HtmlPage>();
  return {.head = HtmlPage::Head(),
          .textOf = [page](const Report& report) { return page->SectionOf(report); },
          .summary = [page] { return page->Foot(); }};
}

constexpr Format kFormats[] = {
    {"table", OneTable, ManyTables, true}, {"json", OneJson, JsonArray, true},
    {"jsonl", JsonLines, JsonLines, true}, {"csv", Csv, Csv, false},
    {"html", Html, Html, false},
};

}  // namespace

std::string DocumentOf(const Formatter& formatter, const Report& report) {
  const std::string text = formatter.textOf(report);
  return formatter.head + text + (formatter.summary ? formatter.summary() : formatter.foot);
}

std::span<const Format> Formats() {
  return kFormats;
}

const Format& FormatNamed(std::string_view name) {
  const auto found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                  [name](const Format& format) { return name == format.name; });
  if (found == std::end(kFormats)) {
    throw ToolError(ExitCode::Usage, "no such format: " + std::string(name));
  }
  return *found;
}

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const Format& format : kFormats) {
    names.emplace_back(format.name);
  }
  return names;
}

}  // namespace Kelvar::Tool
