#include <algorithm>
#include <iterator>
#include <utility>

#include "module/reader/redfish/Values.h"
#include "module/reader/redfish/Walk.h"

namespace Kelvar::Reader {

namespace {

/// Entries that are requested before their times are looked at.
constexpr std::size_t kBatch = 8;
/// So many in a row that are too old end a log: fewer may be of a clock that was not set.
constexpr std::ptrdiff_t kMostTooOld = 4;

std::optional<double> InstantOf(JsonValue entry) {
  return Instant(CreatedAt(entry));
}

}  // namespace

/// Whether later pages of a log hold only what is older than requested.
bool Walk::HasEnough(const Node& log, const std::vector<JsonValue>& members, std::size_t position) const {
  if (log.role != Role::LogEntry || members.empty()) {
    return false;
  }
  const auto first = InstantOf(members.front());
  const auto last = InstantOf(members.back());
  if (!first || !last || *first <= *last) {
    return false;
  }
  const auto since = Instant(request_.options.log_since);
  const std::size_t limit = request_.options.log_limit;
  return (limit != 0 && position >= limit) || (since && *last < *since);
}

/// Whether the page's links are requested only as far as they are needed, by ResumeLogs().
bool Walk::DeferLog(const Node& page, const std::vector<JsonValue>& members, JsonValue collection) {
  const std::size_t limit = request_.options.log_limit;
  const bool bounded = limit != 0 || !request_.options.log_since.empty();
  const auto links = static_cast<std::size_t>(std::count_if(members.begin(), members.end(), IsBare));
  const std::string next = NextPageOf(collection);
  const bool known = linkedLogs_.count(page.id) != 0;
  const bool worthIt = links != 0 && (!next.empty() || links >= std::max<std::size_t>(limit, 1) + 2);
  if (page.role != Role::LogEntry || !bounded || !(known || worthIt)) {
    return false;
  }
  LinkedLog& log = linkedLogs_[page.id];
  const bool isNew = TakeLinks(log, page, members);
  log.page = page;
  log.page.barrenPages = isNew ? 0 : page.barrenPages + 1;
  log.next = next;
  if (!known && !members.empty()) {
    log.first = EndOf(members.front());
    log.last = EndOf(members.back());
    FollowOne(page, members.front(), page.role, false, page.families, page.position);
    FollowOne(page, members.back(), page.role, false, page.families, log.end - 1);
  }
  return true;
}

/// Returns whether the page had something new.
bool Walk::TakeLinks(LinkedLog& log, const Node& page, const std::vector<JsonValue>& members) {
  const std::size_t known = nodes_.size() + log.seen.size();
  log.end = page.position;
  for (const JsonValue member : members) {
    const std::string link = LinkAt(member, "");
    const std::size_t position = log.end++;
    if (!IsBare(member)) {
      TakeMember(page, member, position);
    } else if (log.seen.size() >= request_.options.resource_limit) {
      NoteLimit(page.families, "more than " + std::to_string(request_.options.resource_limit) + " entries in a log");
      break;
    } else if (log.seen.insert(KeyOf(link)).second) {
      log.links.push_back({link, position});
    }
  }
  return nodes_.size() + log.seen.size() != known;
}

Walk::LinkedLog::End Walk::EndOf(JsonValue member) const {
  return {LinkAt(member, ""), IsBare(member) ? std::nullopt : InstantOf(member)};
}

std::optional<double> Walk::CreatedOf(const std::string& link) const {
  const auto parsed = ParseLink(link, Origin());
  const auto found = parsed ? visited_.find(KeyFor(parsed->path, parsed->fragment)) : visited_.end();
  return found == visited_.end() ? std::nullopt : found->second->created;
}

/// Returns whether there may be more to request.
bool Walk::ResumeLogs() {
  for (auto log = linkedLogs_.begin(); log != linkedLogs_.end();) {
    log = Resume(log->second) ? std::next(log) : linkedLogs_.erase(log);
  }
  return !linkedLogs_.empty();
}

bool Walk::Resume(LinkedLog& log) {
  using Order = LinkedLog::Order;
  log.order = log.order == Order::NotYetKnown ? OrderOf(log) : log.order;
  const std::size_t limit = request_.options.log_limit;
  const bool newestFirst = log.order == Order::NewestFirst;
  if (IsPast(log)) {
    return false;
  }
  // Only of a log that begins with its newest entry later pages may be of no use.
  std::vector<LinkedLog::Entry> entries;
  if (newestFirst || log.next.empty()) {
    entries = NextEntries(log);
  }
  log.batch.clear();
  for (const LinkedLog::Entry& entry : entries) {
    FollowLater(log.page, entry.link, log.page.role, log.page.families, entry.position);
    log.batch.push_back(entry.link);
  }
  if (entries.empty() && !log.next.empty() && !(newestFirst && limit != 0 && log.end >= limit)) {
    TakeNextPage(log.page, std::exchange(log.next, {}), log.end);
    return true;
  }
  return !entries.empty();
}

Walk::LinkedLog::Order Walk::OrderOf(const LinkedLog& log) const {
  using Order = LinkedLog::Order;
  const auto first = log.first.created ? log.first.created : CreatedOf(log.first.link);
  const auto last = log.last.created ? log.last.created : CreatedOf(log.last.link);
  return !first || !last || *first == *last ? Order::Unknown : *first > *last ? Order::NewestFirst : Order::OldestFirst;
}

/// The newest ones of those that are left, as many as are requested at once.
std::vector<Walk::LinkedLog::Entry> Walk::NextEntries(LinkedLog& log) const {
  const std::size_t limit = request_.options.log_limit;
  const bool known = log.order != LinkedLog::Order::Unknown;
  const bool fromEnd = log.order == LinkedLog::Order::OldestFirst;
  const std::size_t most = known && !request_.options.log_since.empty()
                               ? std::max<std::size_t>(kBatch, request_.options.requests_at_once)
                               : log.links.size();
  std::vector<LinkedLog::Entry> entries;
  while (!log.links.empty() && entries.size() < most) {
    LinkedLog::Entry entry = fromEnd ? log.links.back() : log.links.front();
    fromEnd ? log.links.pop_back() : log.links.pop_front();
    const std::size_t newer = fromEnd ? log.end - 1 - entry.position : entry.position;
    if (!known || limit == 0 || newer < limit) {
      entries.push_back(std::move(entry));
    }
  }
  return entries;
}

/// Whether the last ones of those that were requested are too old.
bool Walk::IsPast(const LinkedLog& log) const {
  const auto since = Instant(request_.options.log_since);
  const auto isOld = [&](const std::string& link) {
    const auto created = CreatedOf(link);
    return created && *created < *since;
  };
  return since && std::ssize(log.batch) >= kMostTooOld &&
         std::all_of(log.batch.end() - kMostTooOld, log.batch.end(), isOld);
}

}  // namespace Kelvar::Reader
