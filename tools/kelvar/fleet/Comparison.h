#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/kelvar/fleet/Difference.h"
#include "tools/kelvar/fleet/Shard.h"
#include "tools/kelvar/fleet/StoredReport.h"

namespace Kelvar::Tool {

/// What changed since a former run. Any thread.
class Comparison {
 public:
  explicit Comparison(std::map<std::string, StoredReport> former) : former_(std::move(former)) {}

  /// Parts that either run did not read as a whole are not compared.
  std::vector<Difference> Compare(const StoredReport& now) const;

  /// Targets of the former run that a list no longer has, as far as they belong to the shard.
  std::vector<Difference> Removed(const std::vector<ListedTarget>& list, const Shard& shard) const;

 private:
  const std::map<std::string, StoredReport> former_;
};

}  // namespace Kelvar::Tool
