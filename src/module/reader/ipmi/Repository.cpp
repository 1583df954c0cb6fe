#include <set>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/RecordReader.h"
#include "module/reader/ipmi/SdrCache.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Records = std::vector<std::vector<u8>>;

constexpr u16 kFirstRecord = 0x0000;
constexpr u16 kLastRecord = 0xFFFF;
constexpr std::size_t kMostRecords = 8192;

struct Info {
  RepositoryStamp stamp;
  bool known = false;
};

Info ParseInfo(const RepositoryCommands& repository, const CommandReply& reply) {
  Info info;
  Text::ByteReader reader(reply.data);
  if (repository.netFn == kMainRepository.netFn) {
    reader.Skip(1);
    info.stamp.count = reader.U16();
    reader.Skip(2);
    info.stamp.added = reader.U32();
    info.stamp.erased = reader.U32();
  } else {
    info.stamp.count = reader.U8();
    reader.Skip(1);
    info.stamp.added = reader.U32();  // change indicator
  }
  info.known = reply.Ok() && reader.Ok();
  return info;
}

/// Follows the chain of records. What is missing goes to `progress`.
class ChainWalk {
 public:
  ChainWalk(CommandRunner& commands, const RepositoryCommands& repository, FamilyProgress& progress)
      : reader_(commands, repository), progress_(progress) {}

  Records Run() {
    u16 id = kFirstRecord;
    do {
      auto record = reader_.Read(id);
      if (!record) {
        if (reader_.LastReply().IsAbsent() && records_.empty()) {
          break;  // no records
        }
        progress_.Miss(reader_.LastReply(), "sensor data record " + std::to_string(id));
        if (skipped_ || !MaySkip(id)) {
          break;
        }
        skipped_ = true;
        ++id;
        continue;
      }
      skipped_ = false;
      records_.push_back(std::move(record->bytes));
      id = record->next;
    } while (id != kLastRecord && IsNew(id));
    return std::move(records_);
  }

 private:
  /// After a record that the target cannot give, the next number is worth one try.
  bool MaySkip(u16 id) const {
    const Outcome outcome = reader_.LastReply().outcome;
    return id != kFirstRecord && (outcome == Outcome::Failed || outcome == Outcome::NotPresent);
  }

  bool IsNew(u16 id) {
    if (id != kFirstRecord && seen_.insert(id).second && records_.size() < kMostRecords) {
      return true;
    }
    progress_.Miss(GapKind::Unusable, FailureCause::BadData, "sensor data records",
                   "the chain does not end: record " + std::to_string(id) + " follows again");
    return false;
  }

  RecordReader reader_;
  FamilyProgress& progress_;
  Records records_;
  std::set<u16> seen_;
  bool skipped_ = false;
};

void Add(SdrRecord&& record, Repository& repository) {
  if (auto* sensors = std::get_if<std::vector<SensorRecord>>(&record.body)) {
    repository.sensors.insert(repository.sensors.end(), sensors->begin(), sensors->end());
  } else if (auto* fru = std::get_if<FruLocator>(&record.body)) {
    repository.frus.push_back(std::move(*fru));
  } else if (auto* controller = std::get_if<ControllerLocator>(&record.body)) {
    repository.controllers.push_back(std::move(*controller));
  } else if (auto* association = std::get_if<EntityAssociation>(&record.body)) {
    repository.associations.push_back(std::move(*association));
  }
}

Repository Decode(const Records& records) {
  Repository repository;
  for (const std::vector<u8>& bytes : records) {
    if (auto record = ParseSdrRecord(bytes)) {
      Add(std::move(*record), repository);
    } else {
      FamilyProgress::Note("sensor data record", "shorter than its type requires");
    }
  }
  return repository;
}

/// Firmware is part of it: an update may bring other records and leave the times.
std::string CacheKey(const std::string& name, const DeviceId& device) {
  std::string key =
      name + " " + std::to_string(device.manufacturer) + " " + std::to_string(device.product) + " " + device.firmware;
  if (device.auxiliary) {
    for (const u8 byte : *device.auxiliary) {
      key += "." + std::to_string(byte);
    }
  }
  return key;
}

const RepositoryCommands& CommandsFor(const std::optional<DeviceId>& device) {
  return device && device->hasDeviceSdrs && !device->HasSdrRepository() ? kDeviceRepository : kMainRepository;
}

void Fill(ReadingContext& context) {
  FamilyProgress progress("sensor data records");
  const RepositoryCommands& repository = CommandsFor(context.device);
  const Info info = ParseInfo(repository, context.commands.Run(repository.netFn, repository.info));
  const bool cached = info.known && context.device && !context.options.cacheName.empty();
  const SdrCache cache(context.options.cacheFolder);
  const std::string key = cached ? CacheKey(context.options.cacheName, *context.device) : std::string();
  if (const auto copy = cached ? cache.Find(key, info.stamp) : std::nullopt) {
    KELVAR_LOG(3) << "IPMI reading: " << copy->records.size() << " sensor data records from the cache";
    context.repository = Decode(copy->records);
    return;
  }
  const Records records = ChainWalk(context.commands, repository, progress).Run();
  context.repository = Decode(records);
  const Model::FamilyResult result = progress.Result(!records.empty());
  if (result.cause != FailureCause::None) {
    context.repositoryFailure = result;
  } else if (cached && !records.empty()) {
    cache.Store(key, {info.stamp, records});
  }
}

}  // namespace

const Repository& RepositoryOf(ReadingContext& context) {
  if (!context.repository) {
    Fill(context);
    for (const FruLocator& locator : context.repository->frus) {
      context.componentOfEntity.emplace(locator.entity, ComponentIdOf(locator));
    }
  }
  return *context.repository;
}

}  // namespace Kelvar::Reader::Ipmi
