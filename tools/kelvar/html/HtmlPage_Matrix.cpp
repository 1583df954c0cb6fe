#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "tools/kelvar/html/HtmlPage.h"
#include "tools/kelvar/html/HtmlPage_Parts.h"
#include "tools/kelvar/html/HtmlText.h"

namespace Kelvar::Tool {

namespace {

/// One kind of firmware over all targets.
struct Column {
  const char* field;
  std::map<std::string, std::size_t> counts;  ///< targets by version

  void Count(const std::string& version) {
    if (!version.empty()) {
      ++counts[version];
    }
  }

  /// The most common version is the one that others differ from.
  std::string Norm() const {
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& left, const auto& right) { return left.second < right.second; });
    return most == counts.end() ? std::string() : most->first;
  }
};

std::string CellOf(const std::string& version, const std::string& norm) {
  if (version.empty() || version == norm) {
    return "<td>" + Escaped(version) + "</td>";
  }
  return "<td class=\"differs\">&ne; " + Escaped(version) + "</td>";
}

std::string CountText(std::size_t count, const char* one, const char* many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

}  // namespace

std::string HtmlPage::FirmwareMatrix() const {
  std::vector<Column> columns;
  for (const auto& [number, digest] : digests_) {
    for (const auto& [name, value] : digest.firmware) {
      const bool known = std::any_of(columns.begin(), columns.end(),
                                     [&field = name](const Column& column) { return column.field == field; });
      if (!known && std::string_view(name).find("Date") == std::string_view::npos) {
        columns.push_back({name, {}});
      }
    }
    for (Column& column : columns) {
      column.Count(FieldText(digest.firmware, column.field));
    }
  }
  columns.erase(
      std::remove_if(columns.begin(), columns.end(), [](const Column& column) { return column.counts.empty(); }),
      columns.end());
  if (digests_.size() < 2 || columns.empty()) {
    return "";
  }
  const auto differing = static_cast<std::size_t>(
      std::count_if(columns.begin(), columns.end(), [](const Column& column) { return column.counts.size() > 1; }));
  std::string text = fmt::format(
      "<section id=\"firmware-matrix\"><h2>Firmware over all targets</h2>\n<p class=\"soft\">{} with more than one "
      "version."
      " Versions that are not the most common one are marked &ne;.</p>\n<div class=\"scroll\" tabindex=\"0\"><table>"
      "<thead><tr><th scope=\"col\">Target</th>",
      CountText(differing, "kind of firmware", "kinds of firmware"));
  for (const Column& column : columns) {
    text += fmt::format("<th scope=\"col\">{}</th>", column.field);
  }
  text += "</tr></thead><tbody>\n";
  for (const auto* row : RowsByTarget()) {
    const auto& [number, digest] = *row;
    text += fmt::format("<tr><th scope=\"row\"><a href=\"#target-{}\">{}</a></th>", number, Escaped(digest.target));
    for (const Column& column : columns) {
      text += CellOf(FieldText(digest.firmware, column.field), column.Norm());
    }
    text += "</tr>\n";
  }
  return text + "</tbody></table></div></section>\n";
}

std::vector<const HtmlPage::Digests::value_type*> HtmlPage::RowsByTarget() const {
  std::vector<const Digests::value_type*> rows;
  for (const auto& row : digests_) {
    rows.push_back(&row);
  }
  std::sort(rows.begin(), rows.end(),
            [](const auto* left, const auto* right) { return left->second.target < right->second.target; });
  return rows;
}

std::string HtmlPage::Overview() const {
  std::map<ExitCode, std::size_t> tally;
  for (const auto& [number, digest] : digests_) {
    ++tally[digest.code];
  }
  std::string text =
      "<header id=\"overview\"><h1>Inventory</h1>\n<p>" + CountText(digests_.size(), "target", "targets");
  for (const auto& [code, count] : tally) {
    text += fmt::format(", {} {}", count, NameOf(code));
  }
  text += "</p>\n";
  std::string failed;
  for (const auto& [number, digest] : digests_) {
    if (digest.code != ExitCode::Complete && digests_.size() > 1) {
      failed += fmt::format("<li><a href=\"#target-{}\">{}</a>: {}</li>\n", number, Escaped(digest.target),
                            DescriptionOf(digest.code));
    }
  }
  return text +
         (failed.empty() ? "" : "<details><summary>Not complete</summary><ul>\n" + failed + "</ul></details>\n") +
         "</header>\n";
}

}  // namespace Kelvar::Tool
