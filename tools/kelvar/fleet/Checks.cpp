#include "tools/kelvar/fleet/Checks.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include "tools/kelvar/page/InventoryPage.h"

namespace Kelvar::Tool {

Checks::Checks(const FleetOptions& options) {
  if (!options.diff.empty()) {
    comparison_.emplace(ReadStoredReports(options.diff));
  }
  if (!options.baseline.empty()) {
    baseline_.emplace(options.baseline);
  }
}

void Checks::AddWords(std::vector<std::string>& what) const {
  if (page_ && what.empty()) {
    return;  // everything
  }
  if (comparison_ && what.empty()) {
    what = {"system", "firmware", "components"};
  }
  if (!baseline_) {
    return;
  }
  for (const std::string& word : Baseline::Words()) {
    if (std::find(what.begin(), what.end(), word) == what.end()) {
      what.push_back(word);
    }
  }
}

Formatter Checks::FormatterOf(const std::string& format, const DocumentStyle& style) {
  if (!FormatNamed(format).differences) {
    throw ToolError(ExitCode::Usage, "--diff and --baseline print table, json, jsonl or html");
  }
  if (!style.columns.empty()) {
    throw ToolError(ExitCode::Usage, "--diff and --baseline print whole differences; they take no --columns");
  }
  page_ = format == "html";
  json_ = format != "table";
  const bool array = format == "json";
  separator_ = array ? ",\n" : "";
  if (page_) {
    Formatter formatter = FormatNamed(format).many(style);
    formatter.textOf = [this](const Report& report) { return PieceOf(report); };
    return formatter;
  }
  return {.head = array ? "[\n" : "",
          .separator = separator_,
          .foot = array ? "]\n" : "",
          .textOf = [this](const Report& report) { return TextOf(DifferencesOf(report)); }};
}

std::string Checks::TextOfRemoved(const std::vector<ListedTarget>& list, const Shard& shard) {
  const std::vector<Difference> removed = comparison_ ? comparison_->Removed(list, shard) : std::vector<Difference>();
  if (!page_) {
    return TextOf(removed);
  }
  Count(removed);
  std::string text;
  for (const Difference& one : removed) {
    InventoryReport gone;
    gone.target = one.target;
    gone.start = std::chrono::system_clock::now();
    gone.code = ExitCode::Unsupported;
    gone.error = "no longer in the list of targets";
    text += PagePiece(gone, JsonArrayOf({one}, 1));
  }
  return text;
}

std::vector<Difference> Checks::DifferencesOf(const Report& report) const {
  auto stored = ParseStoredReport(JsonLineOf(report));
  if (!stored) {
    return {};
  }
  if (report.code == ExitCode::Usage) {
    return {{Difference::Kind::Unread, stored->target, "", "", "", "", report.error}};
  }
  if (page_) {
    KeepWhatLasts(*stored);
  }
  std::vector<Difference> differences;
  if (comparison_) {
    differences = comparison_->Compare(*stored);
  }
  if (baseline_) {
    std::vector<Difference> deviations = baseline_->Check(*stored);
    std::move(deviations.begin(), deviations.end(), std::back_inserter(differences));
  }
  return differences;
}

std::string Checks::PieceOf(const Report& report) {
  constexpr std::size_t kMostChanges = 40;
  const std::vector<Difference> differences = DifferencesOf(report);
  Count(differences);
  return PagePiece(*InventoryOf(report), JsonArrayOf(differences, kMostChanges));
}

std::string Checks::TextOf(const std::vector<Difference>& differences) {
  Count(differences);
  return Tool::TextOf(differences, json_, separator_);
}

void Checks::Count(const std::vector<Difference>& differences) {
  differences_ += static_cast<std::size_t>(std::count_if(
      differences.begin(), differences.end(), [](const Difference& difference) { return difference.IsDifference(); }));
}

}  // namespace Kelvar::Tool
