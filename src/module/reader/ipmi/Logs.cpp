#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/text/ByteReader.h"
#include "module/reader/ipmi/ChainGuess.h"
#include "module/reader/ipmi/EventTime.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/SelRecord.h"
#include "module/reader/ipmi/SensorStates.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u16 kFirstEntry = 0x0000;
constexpr u16 kLastEntry = 0xFFFF;
constexpr u8 kWholeEntry = 0xFF;
constexpr u8 kInvalidField = 0xCC;
constexpr std::size_t kMostEntries = 65'535;

struct Entry {
  u16 next = kLastEntry;
  SelRecord record;
};

/// Walks the chain of the system event log.
class SelWalk {
 public:
  SelWalk(CommandRunner& commands, FamilyProgress& progress, std::size_t count)
      : commands_(commands), progress_(progress), count_(count) {}

  /// From the oldest entry on; at most `limit` when that is not 0.
  void Forward(std::size_t limit) { Follow(kFirstEntry, limit); }

  /// The newest entries. The chain leads forward alone: the start is guessed from the last entry's number, and the
  /// whole log is walked where that fails.
  void Newest(std::size_t limit) {
    const auto last = limit > 0 && count_ > limit ? Get(kLastEntry) : std::nullopt;
    const std::size_t lastId = last ? last->record.id : 0;
    if (lastId >= limit && lastId > 0) {
      const auto start = static_cast<u16>(lastId - limit + 1);
      if (Get(start)) {
        Follow(start, 0);
        if (records_.size() >= limit && !records_.empty() && records_.back().id == lastId) {
          KeepLast(limit);
          return;
        }
        records_.clear();
        seen_.clear();
      }
    }
    Follow(kFirstEntry, 0);
    KeepLast(limit);
  }

  std::vector<SelRecord>& Records() { return records_; }

 private:
  void KeepLast(std::size_t limit) {
    if (limit > 0 && records_.size() > limit) {
      records_.erase(records_.begin(), records_.end() - static_cast<std::ptrdiff_t>(limit));
    }
  }

  void Follow(u16 id, std::size_t limit) {
    unsigned skipped = 0;  // in a row
    while (limit == 0 || records_.size() < limit) {
      LookAhead(id, limit);
      const auto entry = GetNamed(id, skipped > 0);
      if (!entry) {
        if (!MaySkip(id, skipped) || (id = guess_.After(id)) == kLastEntry) {
          return;
        }
        continue;
      }
      skipped = 0;
      if (!seen_.insert(entry->record.id).second || records_.size() >= kMostEntries) {
        progress_.Miss(GapKind::Unusable, FailureCause::BadData, "event log",
                       "the chain does not end: entry " + std::to_string(entry->record.id) + " follows again");
        return;
      }
      records_.push_back(entry->record);
      guess_.Note(entry->record.id, entry->next);
      id = Following(*entry);
      if (id == kLastEntry || id == kFirstEntry) {
        return;
      }
    }
  }

  /// An entry that names itself as the next one hides those after it.
  u16 Following(const Entry& entry) {
    const u16 own = entry.record.id;
    if (entry.next != own || records_.size() >= count_) {
      return entry.next;
    }
    progress_.Miss(GapKind::Unusable, FailureCause::BadData, "event log",
                   "entry " + std::to_string(own) + " follows itself; the next number is tried");
    return static_cast<u16>(own + 1);
  }

  /// After an entry that the target cannot give, the next numbers are worth a try; not all of them have an entry.
  bool MaySkip(u16 id, unsigned& skipped) {
    constexpr unsigned kMostSkipped = 4;
    if (reply_.IsAbsent() && IsEmpty() && skipped == 0) {
      return false;
    }
    if (skipped == 0 || !reply_.IsAbsent()) {
      progress_.Miss(reply_, "event log entry " + std::to_string(id));
    }
    return !reply_.IsUnsent() && skipped++ < kMostSkipped;
  }

  /// Nothing tells that there are entries.
  bool IsEmpty() const { return records_.empty() && count_ == 0; }

  /// An entry that others name, and that is not there, is asked for once more.
  std::optional<Entry> GetNamed(u16 id, bool guessed) {
    const auto entry = Get(id);
    return entry || guessed || IsEmpty() || !reply_.IsAbsent() ? entry : Get(id);
  }

  std::optional<Entry> Get(u16 id) {
    constexpr unsigned kMostLost = 64;
    reply_ = Ask(id);
    while (reply_.outcome == Outcome::ReservationLost && lost_++ < kMostLost) {
      Reserve();
      reply_ = Ask(id);
    }
    lost_ = reply_.Ok() ? 0 : lost_;
    const bool dropped = reply_.outcome == Outcome::Silent && records_.empty();
    if (size_ == kWholeEntry &&
        (dropped || reply_.outcome == Outcome::LengthRefused || reply_.completionCode == kInvalidField)) {
      size_ = kSelRecordSize;
      reply_ = Ask(id);
    }
    Text::ByteReader reader(reply_.data);
    Entry entry;
    entry.next = reader.U16();
    const auto record = ParseSelRecord(reader.Rest());
    if (!reply_.Ok() || !record) {
      return std::nullopt;
    }
    entry.record = *record;
    return entry;
  }

  /// Asks for the entries that are likely to follow.
  void LookAhead(u16 id, std::size_t limit) {
    const std::size_t read = records_.size();
    const std::size_t end = limit == 0 ? count_ : std::min(limit, count_);
    std::vector<std::vector<u8>> requests;
    for (const u16 next : guess_.From(id, std::min(CommandRunner::kMostAhead, end - std::min(read, end)))) {
      requests.push_back(RequestFor(next));
    }
    if (!requests.empty()) {
      commands_.Prefetch(kNetFnStorage, kGetSelEntry, requests);
    }
  }

  /// A whole entry: most targets ask for no reservation then.
  std::vector<u8> RequestFor(u16 id) const {
    return {static_cast<u8>(reservation_),
            static_cast<u8>(reservation_ >> 8),
            static_cast<u8>(id),
            static_cast<u8>(id >> 8),
            0,
            size_};
  }

  CommandReply Ask(u16 id) { return commands_.Run(kNetFnStorage, kGetSelEntry, RequestFor(id)); }

  void Reserve() {
    const CommandReply reply = commands_.Run(kNetFnStorage, kReserveSel);
    Text::ByteReader reader(reply.data);
    const u16 reservation = reader.U16();
    reservation_ = reply.Ok() && reader.Ok() ? reservation : 0;
  }

  CommandRunner& commands_;
  FamilyProgress& progress_;
  std::size_t count_;
  CommandReply reply_;
  u16 reservation_ = 0;
  u8 size_ = kWholeEntry;
  unsigned lost_ = 0;  ///< reservations, in a row
  ChainGuess guess_;
  std::vector<SelRecord> records_;
  std::set<u16> seen_;
};

std::optional<int> ReadUtcOffset(CommandRunner& commands, FamilyProgress& progress) {
  const CommandReply reply = commands.Run(kNetFnStorage, kGetSelTimeOffset);
  if (!reply.Ok() && !reply.IsAbsent()) {
    progress.Miss(reply, "time zone of the event log");
  }
  Text::ByteReader reader(reply.data);
  const u16 bytes = reader.U16();
  return reply.Ok() && reader.Ok() ? UtcOffsetOf(bytes) : std::nullopt;
}

/// What a sensor has states of.
using StateKind = std::pair<SensorKey, u8>;
/// Numbers of the assertions that hold still, by offset.
using Asserted = std::map<unsigned, std::vector<std::size_t>>;

/// Whether the assertion of a state that is as it should be ends that of another offset: a limit is crossed back, or
/// one of the generic types, whose states exclude each other, is as it should be with offset 0.
bool Ends(const SelEvent& event, unsigned other) {
  constexpr u8 kFirstExclusive = 0x03;
  constexpr u8 kLastExclusive = 0x0B;
  if (event.eventType == kThresholdEvents) {
    return other == (event.Offset() ^ 1U) && ThresholdEventOf(event.Offset()).severity == Model::Health::Ok;
  }
  return event.eventType >= kFirstExclusive && event.eventType <= kLastExclusive && event.Offset() == 0 && other != 0;
}

/// The numbers of assertions that a later deassertion, or the assertion of their opposite, ended.
std::set<std::size_t> Resolved(const std::vector<SelRecord>& records) {
  std::map<StateKind, Asserted> open;
  std::set<std::size_t> resolved;
  for (std::size_t index = 0; index < records.size(); ++index) {
    const auto* event = std::get_if<SelEvent>(&records[index].body);
    if (event == nullptr) {
      continue;
    }
    Asserted& states = open[{event->sensor, event->eventType}];
    for (auto& [offset, numbers] : states) {
      if (event->deasserted ? offset == event->Offset() : Ends(*event, offset)) {
        resolved.insert(numbers.begin(), numbers.end());
        numbers.clear();
      }
    }
    if (!event->deasserted) {
      states[event->Offset()].push_back(index);
    }
  }
  return resolved;
}

Model::LogEntry EntryOf(const SelRecord& record, const Repository& repository, std::optional<int> utcOffset) {
  Model::LogEntry entry;
  entry.log = "sel";
  entry.id = std::to_string(record.id);
  if (const auto timestamp = record.Timestamp()) {
    entry.created = TimeText(*timestamp, utcOffset);
  }
  const auto* event = std::get_if<SelEvent>(&record.body);
  SelText text = DescribeRecord(record, event != nullptr ? repository.Find(event->sensor) : nullptr);
  entry.severity = NameOf(text.severity);
  entry.message = std::move(text.message);
  entry.source = std::move(text.source);
  return entry;
}

/// Entries without a time are kept: nothing tells that they are older.
bool IsBefore(const SelRecord& record, std::optional<std::int64_t> since, std::optional<int> utcOffset) {
  const auto timestamp = record.Timestamp();
  const auto seconds = timestamp ? UtcSecondsOf(*timestamp, utcOffset) : std::nullopt;
  return since && seconds && *seconds < *since;
}

/// That the repository is not whole is a loss where an event's sensor is not in it.
void InheritNames(ReadingContext& context, const std::vector<SelRecord>& records, FamilyProgress& progress) {
  const bool unnamed = std::any_of(records.begin(), records.end(), [&context](const SelRecord& record) {
    const auto* event = std::get_if<SelEvent>(&record.body);
    return event != nullptr && !event->sensor.IsSoftware() && context.repository->Find(event->sensor) == nullptr;
  });
  if (unnamed) {
    progress.Inherit(context.repositoryProgress);
  }
}

void AddEntries(ReadingContext& context, const std::vector<SelRecord>& records, std::size_t limit,
                FamilyProgress& progress) {
  const Repository& repository = RepositoryOf(context);
  InheritNames(context, records, progress);
  const auto utcOffset = ReadUtcOffset(context.commands, progress);
  const auto since = SecondsOf(context.options.logSince);
  const std::set<std::size_t> resolved = Resolved(records);
  std::vector<Model::LogEntry> entries;
  for (std::size_t index = 0; index < records.size(); ++index) {
    if (IsBefore(records[index], since, utcOffset)) {
      continue;
    }
    entries.push_back(EntryOf(records[index], repository, utcOffset));
    if (resolved.count(index) != 0) {
      entries.back().resolved = true;
    }
  }
  if (context.options.newestFirst) {
    std::reverse(entries.begin(), entries.end());
  }
  if (limit > 0 && entries.size() > limit) {
    entries.resize(limit);
  }
  auto& list = context.inventory.log_entries;
  list.insert(list.end(), std::make_move_iterator(entries.begin()), std::make_move_iterator(entries.end()));
}

/// Number of entries; 0 when the target does not tell it, and there may be some nevertheless. Nothing when there are
/// none to be read.
std::optional<std::size_t> ReadCount(ReadingContext& context, FamilyProgress& progress, Model::FamilyResult& result) {
  constexpr std::size_t kFreeAndTimes = 10;
  constexpr u8 kOverflow = 0x80;
  const CommandReply reply = context.commands.Run(kNetFnStorage, kGetSelInfo);
  if (!reply.Ok()) {
    if (!reply.IsAbsent()) {
      progress.Miss(reply, "event log");
    }
    result = progress.Result(false);
    const bool pointless = reply.IsAbsent() || reply.outcome == Outcome::Denied || context.commands.IsOver();
    return pointless ? std::nullopt : std::optional<std::size_t>(0);
  }
  Text::ByteReader reader(reply.data);
  reader.Skip(1);  // version
  const std::size_t count = reader.U16();
  reader.Skip(kFreeAndTimes);
  if ((reader.U8() & kOverflow) != 0) {
    DiagnosticsRecorder::AddGap(GapKind::LostRecords, FailureCause::None, "event log",
                                "the target had no space left and dropped entries");
  }
  result = {Model::FamilyStatus::Complete, FailureCause::None, ""};
  return count > 0 ? std::optional(count) : std::nullopt;
}

}  // namespace

void ReadLogs(ReadingContext& context) {
  FamilyProgress progress("logs");
  Model::FamilyResult& result = context.inventory.ResultOf(Model::Family::Logs);
  const auto count = ReadCount(context, progress, result);
  if (!count) {
    return;
  }
  RepositoryOf(context);  // before the entries, which are lost more easily
  SelWalk walk(context.commands, progress, *count);
  const std::size_t limit = context.options.logLimit;
  if (context.options.newestFirst) {
    walk.Newest(context.options.logSince.empty() ? limit : 0);
  } else {
    walk.Forward(context.options.logSince.empty() ? limit : 0);
  }
  AddEntries(context, walk.Records(), limit, progress);
  result = progress.Result(!walk.Records().empty());
}

}  // namespace Kelvar::Reader::Ipmi
