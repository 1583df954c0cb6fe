#pragma once

#include <cstddef>
#include <unordered_set>
#include <vector>

#include <kelvar/Inventory.h>

namespace Kelvar::Tool {

/// Tells which log entries of a reading no earlier reading had. An entry is known by its log, id and time.
class NewEntries {
 public:
  /// Whether a log of a reading of at most `limit` entries a log holds new ones alone, so that more may be missing.
  bool MayMissSome(const std::vector<Model::LogEntry>& entries, std::size_t limit) const;

  /// The new ones, in the same order; they are known from then on. Of very many the earlier ones are forgotten.
  std::vector<Model::LogEntry> Take(const std::vector<Model::LogEntry>& entries);

 private:
  std::unordered_set<std::size_t> known_;
};

/// Entries of which each log's newest come first, by their time; one without a time follows the one before it in its
/// log.
std::vector<Model::LogEntry> InOrderOfTime(std::vector<Model::LogEntry> newestFirst);

}  // namespace Kelvar::Tool
