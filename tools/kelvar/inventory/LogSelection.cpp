#include "tools/kelvar/inventory/LogSelection.h"

#include <algorithm>
#include <map>

namespace Kelvar::Tool {

namespace {

int RankOf(const std::string& severity) {
  return severity == "critical" ? 2 : severity == "warning" ? 1 : 0;
}

}  // namespace

bool IsAsSevere(const Model::LogEntry& entry, const std::string& severity) {
  return RankOf(entry.severity) >= RankOf(severity);
}

void KeepSevere(std::vector<Model::LogEntry>& entries, const std::string& severity, u32 limit) {
  std::map<std::string, u32> kept;
  const auto leftOut = [&](const Model::LogEntry& entry) {
    return !IsAsSevere(entry, severity) || (kept[entry.log]++ >= limit && limit != 0);
  };
  std::vector<Model::LogEntry> rest;
  for (Model::LogEntry& entry : entries) {
    if (!leftOut(entry)) {
      rest.push_back(std::move(entry));
    }
  }
  entries = std::move(rest);
}

void TurnAround(std::vector<Model::LogEntry>& entries) {
  for (auto first = entries.begin(); first != entries.end();) {
    const auto last =
        std::find_if(first, entries.end(), [&](const Model::LogEntry& entry) { return entry.log != first->log; });
    std::reverse(first, last);
    first = last;
  }
}

}  // namespace Kelvar::Tool
