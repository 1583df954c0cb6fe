#include "tools/kelvar/inventory/NewEntries.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "tools/kelvar/inventory/IsoTime.h"

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kMostKnown = 200'000;

std::size_t KeyOf(const Model::LogEntry& entry) {
  return std::hash<std::string>()(entry.log + '\n' + entry.id + '\n' + entry.created);
}

}  // namespace

bool NewEntries::MayMissSome(const std::vector<Model::LogEntry>& entries, std::size_t limit) const {
  std::map<std::string, std::size_t> fresh;
  for (const Model::LogEntry& entry : entries) {
    fresh[entry.log] += 1 - known_.count(KeyOf(entry));
  }
  return std::any_of(fresh.begin(), fresh.end(), [limit](const auto& log) { return log.second >= limit; });
}

std::vector<Model::LogEntry> NewEntries::Take(const std::vector<Model::LogEntry>& entries) {
  std::vector<Model::LogEntry> fresh;
  for (const Model::LogEntry& entry : entries) {
    if (known_.insert(KeyOf(entry)).second) {
      fresh.push_back(entry);
    }
  }
  if (known_.size() > kMostKnown) {
    known_.clear();
    for (const Model::LogEntry& entry : entries) {
      known_.insert(KeyOf(entry));
    }
  }
  return fresh;
}

std::vector<Model::LogEntry> InOrderOfTime(std::vector<Model::LogEntry> newestFirst) {
  std::vector<std::pair<std::int64_t, Model::LogEntry>> timed;
  std::map<std::string, std::int64_t> last;
  std::for_each(newestFirst.rbegin(), newestFirst.rend(), [&](Model::LogEntry& entry) {
    std::int64_t& time = last[entry.log];
    time = SecondsOfIsoTime(entry.created).value_or(time);
    timed.emplace_back(time, std::move(entry));
  });
  std::stable_sort(timed.begin(), timed.end(),
                   [](const auto& left, const auto& right) { return left.first < right.first; });
  std::vector<Model::LogEntry> ordered(timed.size());
  std::transform(timed.begin(), timed.end(), ordered.begin(), [](auto& entry) { return std::move(entry.second); });
  return ordered;
}

}  // namespace Kelvar::Tool
