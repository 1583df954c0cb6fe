#include "tools/kelvar/fleet/Checks.h"

#include <algorithm>
#include <iterator>

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

Formatter Checks::FormatterOf(const std::string& format) {
  if (!FormatNamed(format).differences) {
    throw ToolError(ExitCode::Usage, "--diff and --baseline print table, json or jsonl");
  }
  json_ = format != "table";
  const bool array = format == "json";
  separator_ = array ? ",\n" : "";
  return {.head = array ? "[\n" : "",
          .separator = separator_,
          .foot = array ? "]\n" : "",
          .textOf = [this](const Report& report) { return TextOf(report); }};
}

std::string Checks::TextOfRemoved(const std::vector<ListedTarget>& list, const Shard& shard) {
  return comparison_ ? TextOf(comparison_->Removed(list, shard)) : std::string();
}

std::string Checks::TextOf(const Report& report) {
  const auto stored = ParseStoredReport(JsonLineOf(report));
  if (!stored) {
    return "";
  }
  if (report.code == ExitCode::Usage) {
    return TextOf({{Difference::Kind::Unread, stored->target, "", "", "", "", report.error}});
  }
  std::vector<Difference> differences;
  if (comparison_) {
    differences = comparison_->Compare(*stored);
  }
  if (baseline_) {
    std::vector<Difference> deviations = baseline_->Check(*stored);
    std::move(deviations.begin(), deviations.end(), std::back_inserter(differences));
  }
  return TextOf(differences);
}

std::string Checks::TextOf(const std::vector<Difference>& differences) {
  differences_ += static_cast<std::size_t>(std::count_if(
      differences.begin(), differences.end(), [](const Difference& difference) { return difference.IsDifference(); }));
  return Tool::TextOf(differences, json_, separator_);
}

}  // namespace Kelvar::Tool
