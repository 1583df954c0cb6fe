#pragma once

#include <mutex>
#include <set>
#include <string>

#include "tools/kelvar/inventory/InventoryReport.h"
#include "tools/kelvar/metrics/Exposition.h"

namespace Kelvar::Tool {

/// The metrics of many machines as one document in the format of OpenMetrics 1.0, for files that a collector picks up.
/// Each sample has the label `target`: the address without its user, with " #2" after it and so on where one comes
/// twice. Any thread.
class OpenMetricsDocument {
 public:
  void Add(const InventoryReport& report);

  std::string Text() const;

 private:
  mutable std::mutex mutex_;
  std::set<std::string> targets_;
  Exposition exposition_;
};

}  // namespace Kelvar::Tool
