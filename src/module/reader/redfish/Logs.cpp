#include <algorithm>
#include <map>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

using Entry = Collected::Entry;

constexpr std::size_t kLongestZone = 6;
constexpr std::size_t kLongestLocalTime = 32;

std::string SeverityOf(JsonValue json) {
  for (const char* const property : {"Severity", "MessageSeverity"}) {
    std::string word = Lower(TextAt(json, property));
    if (word == "ok" || word == "warning" || word == "critical") {
      return word;
    }
  }
  return "unknown";
}

std::string SourceOf(JsonValue json) {
  for (const char* const path : {"Links/OriginOfCondition", "OriginOfCondition"}) {
    std::string source = LinkedId(json, path);
    if (!source.empty()) {
      return source;
    }
  }
  return {};
}

/// Whether the first entry of a log is its newest one, as far as their times tell.
bool IsNewestFirst(const std::vector<Entry>& log) {
  std::optional<double> first;
  std::optional<double> last;
  for (const Entry& entry : log) {
    const auto time = Instant(entry.record.created);
    if (time) {
      first = first ? first : time;
      last = time;
    }
  }
  return first && last && *first > *last;
}

void Order(std::vector<Entry>& log, const InventoryReaderOptions& options) {
  std::stable_sort(log.begin(), log.end(),
                   [](const Entry& left, const Entry& right) { return left.position < right.position; });
  const bool newestFirst = IsNewestFirst(log);
  const auto since = Instant(options.log_since);
  if (since) {
    log.erase(std::remove_if(log.begin(), log.end(),
                             [&](const Entry& entry) {
                               const auto time = Instant(entry.record.created);
                               return time && *time < *since;
                             }),
              log.end());
  }
  if (options.log_limit != 0 && log.size() > options.log_limit) {
    const auto excess = static_cast<std::ptrdiff_t>(log.size() - options.log_limit);
    newestFirst ? log.erase(log.end() - excess, log.end()) : log.erase(log.begin(), log.begin() + excess);
  }
  if (options.newest_first && !newestFirst) {
    std::reverse(log.begin(), log.end());
  }
}

/// Local time becomes one with the zone of the log, or of the manager that has the log.
void CompleteTime(const Collected& from, Entry& entry) {
  for (std::string_view above = entry.record.log; !entry.localTime.empty() && !above.empty(); above = Above(above)) {
    const auto zone = from.zones.find(Lower(above));
    if (zone != from.zones.end()) {
      entry.record.created = DateTime(entry.localTime + zone->second);
      return;
    }
  }
}

}  // namespace

void TakeZone(Collected& to, const Node& node, JsonValue json) {
  const std::string zone = TextAt(json, "DateTimeLocalOffset");
  if (!zone.empty() && zone.size() <= kLongestZone) {
    to.zones[Lower(node.id)] = zone;
  }
}

void TakeLogEntry(Collected& to, const Node& node, JsonValue json) {
  Entry entry;
  Model::LogEntry& record = entry.record;
  record.log = node.above;
  const bool inEntries = Lower(LastSegment(record.log)) == "entries";
  record.log = inEntries ? std::string(Above(record.log)) : record.log;
  record.id = node.id;
  record.created = CreatedAt(json);
  if (record.created.empty()) {
    entry.localTime = TextAt(json, "Created").substr(0, kLongestLocalTime);
  }
  record.severity = SeverityOf(json);
  record.message = MessageAt(json, "Message");
  record.message_id = MessageAt(json, "MessageId");
  for (const JsonValue argument : FirstOf(json["MessageArgs"], kMostDetails)) {
    record.arguments.push_back(MessageAt(argument, ""));
  }
  record.source = SourceOf(json);
  record.resolved = BoolAt(json, "Resolved");
  entry.position = node.position;
  to.entries.push_back(std::move(entry));
}

void FinishLogs(Collected& from, const InventoryReaderOptions& options) {
  const auto less = [](const std::string& left, const std::string& right) { return NaturalLess(left, right); };
  std::map<std::string, std::vector<Entry>, decltype(less)> logs(less);
  for (Entry& entry : from.entries) {
    CompleteTime(from, entry);
    logs[entry.record.log].push_back(std::move(entry));
  }
  for (auto& [name, log] : logs) {
    Order(log, options);
    for (Entry& entry : log) {
      from.inventory->log_entries.push_back(std::move(entry.record));
    }
  }
}

}  // namespace Kelvar::Reader
