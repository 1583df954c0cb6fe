#include "module/reader/ipmi/RecordChain.h"

#include <algorithm>
#include <set>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/ChainGuess.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u16 kFirstRecord = 0x0000;
constexpr u16 kLastRecord = 0xFFFF;
constexpr std::size_t kMostRecords = 8192;

RepositoryInfo ParseInfo(const RepositoryCommands& repository, CommandReply reply) {
  RepositoryInfo info;
  Text::ByteReader reader(reply.data);
  if (repository.netFn == kMainRepository.netFn) {
    reader.Skip(1);
    info.stamp.count = reader.U16();
    reader.Skip(2);
    info.stamp.added = reader.U32();
    info.stamp.erased = reader.U32();
    info.known = reply.Ok() && reader.Ok();
  } else {
    info.stamp.count = reader.U8();
    info.luns = reader.U8() & 0x0F;
    info.known = reply.Ok() && reader.Ok();
    info.stamp.added = reader.U32();  // change indicator, which repositories that never change leave out
  }
  info.reply = std::move(reply);
  return info;
}

std::string NameIn(const RepositoryCommands& repository, const std::string& what) {
  return repository.at.IsPlain() ? what : what + " of " + NameOf(repository.at);
}

/// Follows the chain of records. What is missing goes to `progress`.
class ChainWalk {
 public:
  ChainWalk(CommandRunner& commands, const RepositoryCommands& repository, FamilyProgress& progress, std::size_t count)
      : repository_(repository), reader_(commands, repository), progress_(progress), count_(count) {}

  Records Run() {
    u16 id = kFirstRecord;
    do {
      reader_.Prefetch(guess_.From(id, MostAhead()));
      auto record = Read(id);
      if (!record) {
        if (!MaySkip(id)) {
          break;
        }
        id = guess_.After(id);
        continue;
      }
      skipped_ = 0;
      records_.push_back(std::move(record->bytes));
      guess_.Note(id, record->next);
      id = Following(record->next);
    } while (id != kLastRecord && IsNew(id));
    return std::move(records_);
  }

 private:
  std::size_t MostAhead() const {
    return std::min(CommandRunner::kMostAhead, count_ - std::min(records_.size(), count_));
  }

  /// A record that others name, and that is not there, is asked for once more.
  std::optional<RecordReader::Record> Read(u16 id) {
    auto record = reader_.Read(id);
    const bool named = skipped_ == 0 && !IsEmpty();
    return record || !named || !reader_.LastReply().IsAbsent() ? record : reader_.Read(id);
  }

  /// Nothing tells that there are records. Satellites count what they do not show.
  bool IsEmpty() const { return records_.empty() && (count_ == 0 || !repository_.at.IsPlain()); }

  /// What follows the last record that was read. One that names itself hides those after it.
  u16 Following(u16 next) {
    const std::vector<u8>& last = records_.back();
    const auto own = static_cast<u16>(last[0] | last[1] << 8);
    if (next != own || records_.size() >= count_) {
      return next;
    }
    progress_.Miss(GapKind::Unusable, FailureCause::BadData, NameIn(repository_, "sensor data records"),
                   "record " + std::to_string(own) + " follows itself; the next number is tried");
    seen_.insert(own);
    return static_cast<u16>(own + 1);
  }

  /// After a record that the target cannot give, the next numbers are worth a try; not all of them have a record.
  bool MaySkip(u16 id) {
    constexpr unsigned kMostSkipped = 4;
    const CommandReply& reply = reader_.LastReply();
    if (reply.IsAbsent() && IsEmpty() && skipped_ == 0) {
      return false;
    }
    if (skipped_ == 0 || !reply.IsAbsent()) {
      progress_.Miss(reply, NameIn(repository_, "sensor data record " + std::to_string(id)));
    }
    return !reply.IsUnsent() && skipped_++ < kMostSkipped;
  }

  bool IsNew(u16 id) {
    if (id != kFirstRecord && seen_.insert(id).second && records_.size() < kMostRecords) {
      return true;
    }
    progress_.Miss(GapKind::Unusable, FailureCause::BadData, NameIn(repository_, "sensor data records"),
                   "the chain does not end: record " + std::to_string(id) + " follows again");
    return false;
  }

  const RepositoryCommands& repository_;
  RecordReader reader_;
  FamilyProgress& progress_;
  const std::size_t count_;  ///< as the repository tells
  ChainGuess guess_;
  Records records_;
  std::set<u16> seen_;
  unsigned skipped_ = 0;  ///< in a row
};

}  // namespace

RepositoryInfo ReadInfo(CommandRunner& commands, const RepositoryCommands& repository) {
  return ParseInfo(repository, commands.Run(repository.at, repository.netFn, repository.info));
}

Records ReadChain(CommandRunner& commands, const RepositoryCommands& repository, FamilyProgress& progress,
                  std::size_t count) {
  return ChainWalk(commands, repository, progress, count).Run();
}

Records ReadChains(CommandRunner& commands, const RepositoryCommands& repository, const RepositoryInfo& info,
                   FamilyProgress& progress) {
  constexpr u8 kMostLuns = 4;
  Records records = ReadChain(commands, repository, progress, info.stamp.count);
  std::set<std::vector<u8>> seen(records.begin(), records.end());
  for (u8 lun = 1; lun < kMostLuns; ++lun) {
    if ((info.luns & (1U << lun)) == 0) {
      continue;
    }
    const ControllerAddress place{repository.at.address, repository.at.channel, lun};
    for (std::vector<u8>& record : ReadChain(commands, repository.At(place), progress)) {
      // Many controllers show the same records on all logical units.
      if (seen.insert(record).second) {
        records.push_back(std::move(record));
      }
    }
  }
  return records;
}

}  // namespace Kelvar::Reader::Ipmi
