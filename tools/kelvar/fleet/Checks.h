#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelvar/fleet/Baseline.h"
#include "tools/kelvar/fleet/Comparison.h"
#include "tools/kelvar/fleet/FleetOptions.h"
#include "tools/kelvar/fleet/ReportWriter.h"

namespace Kelvar::Tool {

/// What a fleet's reports are held against, when they are: a former run, a baseline, or both. Differences are printed
/// in the reports' place then, but for the page, which shows both.
class Checks {
 public:
  /// Throws ToolError (usage) when a file is invalid.
  explicit Checks(const FleetOptions& options);

  bool Wanted() const { return comparison_ || baseline_; }

  /// Adds what has to be read to what is asked of a target, which may be nothing yet. After FormatterOf().
  void AddWords(std::vector<std::string>& what) const;

  /// How differences are printed: "table" (lines), "json", "jsonl" or "html" (within the page). Throws ToolError
  /// (usage) for other formats. The object outlives the result.
  Formatter FormatterOf(const std::string& format, const DocumentStyle& style);

  /// The text of the targets that are gone; once, at the end.
  std::string TextOfRemoved(const std::vector<ListedTarget>& list, const Shard& shard);

  std::size_t Differences() const { return differences_; }

 private:
  std::vector<Difference> DifferencesOf(const Report& report) const;
  std::string TextOf(const std::vector<Difference>& differences);
  std::string PieceOf(const Report& report);
  void Count(const std::vector<Difference>& differences);

  std::optional<Comparison> comparison_;
  std::optional<Baseline> baseline_;
  bool json_ = false;
  bool page_ = false;
  std::string separator_;
  std::atomic<std::size_t> differences_{0};
};

}  // namespace Kelvar::Tool
