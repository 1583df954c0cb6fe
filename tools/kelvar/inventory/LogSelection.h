#pragma once

#include <string>
#include <vector>

#include <kelvar/Inventory.h>

namespace Kelvar::Tool {

/// Whether an entry is at least as severe as "warning" or "critical"; any other word lets all pass. One of unknown
/// severity is less severe than a warning.
bool IsAsSevere(const Model::LogEntry& entry, const std::string& severity);

/// Leaves of `entries`, in which each log's newest entry comes first, those that are at least as severe, and of these
/// the newest `limit` of each log; 0: all.
void KeepSevere(std::vector<Model::LogEntry>& entries, const std::string& severity, u32 limit);

/// Turns the entries of each log around; the logs stay in their order.
void TurnAround(std::vector<Model::LogEntry>& entries);

}  // namespace Kelvar::Tool
