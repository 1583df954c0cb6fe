#include "tools/kelvar/inventory/InventoryReading.h"

#include <algorithm>
#include <exception>
#include <optional>

#include "tools/kelvar/Operations.h"
#include "tools/kelvar/Suggestion.h"

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

/// What could have been meant.
std::string HintFor(const std::string& word, const std::vector<std::string>& known) {
  if (FindOperation(word) != nullptr) {
    return "; it is an operation: kelvar operation TARGET " + word;
  }
  std::string suggestion = Suggestion(word, known);
  if (!suggestion.empty()) {
    return suggestion;
  }
  std::string list;
  for (const std::string& name : known) {
    list += (list.empty() ? "" : ", ") + name;
  }
  return "; use one of " + list;
}

Model::Family FamilyNamed(const std::string& word) {
  const auto found = std::find_if(Model::kAllFamilies.begin(), Model::kAllFamilies.end(),
                                  [&](Model::Family family) { return word == Model::NameOf(family); });
  if (found == Model::kAllFamilies.end()) {
    std::vector<std::string> known(Model::kAllFamilies.size());
    std::transform(Model::kAllFamilies.begin(), Model::kAllFamilies.end(), known.begin(),
                   [](Model::Family family) { return std::string(Model::NameOf(family)); });
    throw ToolError(ExitCode::Usage, "no such part: " + word + HintFor(word, known));
  }
  return *found;
}

/// Why a target as a whole could not be read: the cause that its families share.
void TakeError(InventoryReport& report) {
  const bool any = std::any_of(report.families.begin(), report.families.end(), [&](Model::Family family) {
    return report.inventory.ResultOf(family).status != Model::FamilyStatus::Failed;
  });
  if (any || report.families.empty()) {
    return;
  }
  const Model::FamilyResult& first = report.inventory.ResultOf(report.families.front());
  report.cause = first.cause;
  report.error = first.reason.empty() ? Kelvar::DescriptionOf(first.cause) : first.reason;
}

}  // namespace

std::vector<Model::Family> FamiliesOf(const std::vector<std::string>& words) {
  std::vector<Model::Family> families(words.size());
  std::transform(words.begin(), words.end(), families.begin(), FamilyNamed);
  if (families.empty()) {
    families.assign(Model::kAllFamilies.begin(), Model::kAllFamilies.end());
  }
  std::sort(families.begin(), families.end());
  families.erase(std::unique(families.begin(), families.end()), families.end());
  return families;
}

InventoryReport ReadInventory(const Target& target, const std::vector<std::string>& words,
                              const InventoryReaderOptions& options, const Diagnostics::WaitListener& waiting,
                              InventoryReader* kept) {
  InventoryReport report;
  report.target = target.address;
  report.protocol = WordOf(target.protocol);
  report.start = std::chrono::system_clock::now();
  report.families = FamiliesOf(words);
  report.all_families = words.empty();
  const Clock::time_point start = Clock::now();
  try {
    const ConnectionOptionsScope connection(target.Complete(ConnectionOptionsScope::Current()));
    std::optional<InventoryReader> own;
    InventoryReader& reader = kept == nullptr ? own.emplace(target.info, options) : *kept;
    reader.SetDeadline(options.deadline_seconds);
    report.diagnostics.SetWaitListener(waiting);
    const DiagnosticsScope scope(report.diagnostics);
    report.inventory = reader.Read(report.families);
    report.diagnostics.SetWaitListener({});
    report.tls = report.diagnostics.Tls();
    Conclude(report);
    TakeError(report);
  } catch (const std::exception& error) {
    report.code = ExitCode::Internal;
    report.error = error.what();
  }
  report.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  return report;
}

}  // namespace Kelvar::Tool
