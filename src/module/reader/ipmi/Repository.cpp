#include <algorithm>

#include "common/log/LogMacros.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/RecordChain.h"
#include "module/reader/ipmi/SdrCache.h"

namespace Kelvar::Reader::Ipmi {

namespace {

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

/// FRU device 0 of a satellite, which its own locator stands for where no other names it.
void AddSatelliteFrus(Repository& repository) {
  for (const ControllerLocator& controller : repository.controllers) {
    auto& frus = repository.frus;
    const bool named = std::any_of(frus.begin(), frus.end(), [&controller](const FruLocator& locator) {
      return locator.logical && locator.accessAddress == controller.address && locator.fruId == 0;
    });
    if (controller.HasFru() && controller.address != Kelvar::Ipmi::kServiceProcessor && !named) {
      frus.push_back({controller.address, 0, true, 0, 0, controller.channel, controller.entity, controller.name});
    }
  }
}

Repository Decode(const Records& records, FamilyProgress& progress) {
  Repository repository;
  for (const std::vector<u8>& bytes : records) {
    if (auto record = ParseSdrRecord(bytes)) {
      Add(std::move(*record), repository);
    } else {
      const unsigned id = bytes.size() < 2 ? 0 : bytes[0] | static_cast<unsigned>(bytes[1] << 8);
      progress.Miss(GapKind::Unusable, FailureCause::BadData, "sensor data record " + std::to_string(id),
                    "shorter than its type requires");
    }
  }
  AddSatelliteFrus(repository);
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

/// The main repository, or that of the device where this is the only one: by what the device says of itself, and by
/// what it answers where it says nothing.
const RepositoryCommands& Choose(ReadingContext& context, RepositoryInfo& info) {
  const auto& device = context.device;
  if (!device || !device->hasDeviceSdrs || device->HasSdrRepository()) {
    info = ReadInfo(context.commands, kMainRepository);
    if (device || !info.reply.IsAbsent()) {
      return kMainRepository;
    }
  }
  RepositoryInfo own = ReadInfo(context.commands, kDeviceRepository);
  if (!device && !own.known) {
    return kMainRepository;
  }
  info = std::move(own);
  return kDeviceRepository;
}

/// A satellite's own records of its sensors, where the repository has none of them.
void AddSatellite(ReadingContext& context, const ControllerLocator& satellite, FamilyProgress& progress) {
  constexpr unsigned kMostRecordsOfSatellite = 64;  // each is several commands, and these are slow
  const ControllerAddress place{satellite.address, satellite.channel, 0};
  const RepositoryCommands commands = kDeviceRepository.At(place);
  const RepositoryInfo info = ReadInfo(context.commands, commands);
  if (!info.known && !info.reply.IsAbsent()) {
    progress.Miss(info.reply, "sensor data records of " + NameOf(place));
  }
  if (info.known && info.stamp.count > kMostRecordsOfSatellite) {
    progress.Miss(GapKind::Truncated, FailureCause::TooLarge, "sensor data records of " + NameOf(place),
                  std::to_string(info.stamp.count) + " are more than are read from a satellite");
  }
  if (!info.known || info.stamp.count > kMostRecordsOfSatellite) {
    return;
  }
  Repository& repository = *context.repository;
  Repository own = Decode(ReadChains(context.commands, commands, info, progress), progress);
  for (SensorRecord& sensor : own.sensors) {
    sensor.key.channel = satellite.channel;
    repository.sensors.push_back(std::move(sensor));
  }
}

void AddSatellites(ReadingContext& context, FamilyProgress& progress) {
  constexpr std::size_t kMostSatellites = 32;
  const std::vector<ControllerLocator> controllers = context.repository->controllers;
  std::size_t count = 0;
  for (const ControllerLocator& controller : controllers) {
    const auto& sensors = context.repository->sensors;
    const bool known = std::any_of(sensors.begin(), sensors.end(), [&controller](const SensorRecord& sensor) {
      return sensor.key.owner == controller.address;
    });
    if (controller.address != Kelvar::Ipmi::kServiceProcessor && controller.HasSensors() && !known &&
        count++ < kMostSatellites) {
      AddSatellite(context, controller, progress);
    }
  }
}

/// The chain ended before the number that the repository tells, as in one that is being updated. That of a device is
/// the number of its sensors.
bool IsShort(const RepositoryCommands& repository, const RepositoryInfo& info, const Records& records) {
  constexpr u16 kUnknown = 0xFFFF;
  return repository.netFn == kMainRepository.netFn && info.known && info.stamp.count != kUnknown &&
         records.size() < info.stamp.count;
}

/// All records; `info` is that of the repository when they were read.
Records ReadOwn(ReadingContext& context, const RepositoryCommands& repository, RepositoryInfo& info,
                FamilyProgress& progress) {
  const auto whole = [&progress] { return progress.IsWhole(); };
  Records records = ReadChains(context.commands, repository, info, progress);
  if (IsShort(repository, info, records) && whole()) {
    RepositoryInfo later = ReadInfo(context.commands, repository);
    if (later.known && later.stamp != info.stamp) {
      info = std::move(later);
      records = ReadChains(context.commands, repository, info, progress);
    }
  }
  if (IsShort(repository, info, records) && whole()) {
    progress.Miss(GapKind::Unusable, FailureCause::BadData, "sensor data records",
                  "the chain has " + std::to_string(records.size()) + " of " + std::to_string(info.stamp.count));
  }
  return records;
}

/// The target's own records, from a cache where that holds.
void FillOwn(ReadingContext& context, FamilyProgress& progress) {
  RepositoryInfo info;
  const RepositoryCommands& repository = Choose(context, info);
  const bool cached = info.known && context.device && !context.options.cacheName.empty();
  const SdrCache cache(context.options.cacheFolder);
  const std::string key = cached ? CacheKey(context.options.cacheName, *context.device) : std::string();
  if (const auto copy = cached ? cache.Find(key, info.stamp) : std::nullopt) {
    KELVAR_LOG(3) << "IPMI reading: " << copy->records.size() << " sensor data records from the cache";
    context.repository = Decode(copy->records, progress);
    return;
  }
  const Records records = ReadOwn(context, repository, info, progress);
  const bool whole = progress.IsWhole();
  context.repository = Decode(records, progress);
  if (whole && cached && !records.empty()) {
    cache.Store(key, {info.stamp, records});
  }
}

}  // namespace

const Repository& RepositoryOf(ReadingContext& context) {
  if (!context.repository) {
    FillOwn(context, context.repositoryProgress);
    AddSatellites(context, context.repositoryProgress);
    for (const FruLocator& locator : context.repository->frus) {
      context.componentOfEntity.emplace(locator.entity, ComponentIdOf(locator));
    }
  }
  return *context.repository;
}

}  // namespace Kelvar::Reader::Ipmi
