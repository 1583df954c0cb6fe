#pragma once

#include <string>

#include "tools/kelvar/inventory/InventoryReport.h"
#include "tools/kelvar/serve/Exposition.h"

namespace Kelvar::Tool::Serve {

/// What a scrape knows of a reading beside its report.
struct ReadingState {
  bool finished = true;    ///< nothing was left out for lack of time
  double age_seconds = 0;  ///< since the reading ended
};

/// The metrics of one machine in Prometheus' text format, the same over every protocol. Of each kind a bounded number
/// of records is told; `kelvar_probe_dropped_items` counts the rest. What a target names twice gets " #2" after its
/// second name, and so on, so that no series comes twice.
std::string MetricsText(const InventoryReport& report, const ReadingState& state);

/// The same added to `exposition`, each sample with `common` in front of its own labels.
void AddMetrics(Exposition& exposition, const Labels& common, const InventoryReport& report, const ReadingState& state);

}  // namespace Kelvar::Tool::Serve
