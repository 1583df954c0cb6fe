#pragma once

#include <optional>
#include <string>

#include "tools/kelvar/inventory/InventoryReport.h"
#include "tools/kelvar/metrics/Exposition.h"

namespace Kelvar::Tool {

/// What a scrape knows of a reading beside its report.
struct ReadingState {
  bool finished = true;                    ///< nothing was left out for lack of time
  std::optional<double> ageSeconds = 0.0;  ///< since the reading ended; none: not told
};

/// The metrics of one machine in Prometheus' text format, the same over every protocol. Of each kind a bounded number
/// of records is told; `kelvar_probe_dropped_items` counts the rest. What a target names twice gets " #2" after its
/// second name, and so on, so that no series comes twice.
std::string MetricsText(const InventoryReport& report, const ReadingState& state);

/// What MetricsText() gave, with another age.
std::string WithAge(std::string text, double ageSeconds);

/// The same added to `exposition`, each sample with `common` in front of its own labels.
void AddMetrics(Exposition& exposition, const Labels& common, const InventoryReport& report, const ReadingState& state);

}  // namespace Kelvar::Tool
