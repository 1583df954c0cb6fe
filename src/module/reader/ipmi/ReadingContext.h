#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/Diagnostics.h>
#include <kelvar/Inventory.h>

#include "module/reader/ipmi/CommandRunner.h"
#include "module/reader/ipmi/ControllerData.h"
#include "module/reader/ipmi/FruInventory.h"
#include "module/reader/ipmi/SdrRecord.h"

namespace Kelvar::Reader::Ipmi {

/// What is to be read, and how.
struct ReadingOptions {
  std::vector<Model::Family> families;
  std::optional<Clock::TimePoint> deadline;
  const std::atomic<bool>* cancelled = nullptr;
  u32 logLimit = 0;
  std::string logSince;
  bool newestFirst = false;
  /// Names the target in the cache of sensor data records, such as "host:623"; empty: no cache.
  std::string cacheName;
  /// Folder of copies of sensor data records; empty: the process's own cache alone.
  std::string cacheFolder;
};

/// The decoded sensor data repository.
struct Repository {
  std::vector<SensorRecord> sensors;
  std::vector<FruLocator> frus;
  std::vector<ControllerLocator> controllers;
  std::vector<EntityAssociation> associations;

  /// The sensor that an event names; null for none. One on another channel where none is on the event's: events and
  /// records of one controller often disagree on it.
  const SensorRecord* Find(const SensorKey& key) const;
};

/// How the reading of one family went.
class FamilyProgress {
 public:
  explicit FamilyProgress(const char* family) : family_(family) {}

  /// Something is missing from the result: recorded as a gap too.
  void Miss(GapKind kind, FailureCause cause, std::string_view what, std::string_view why);
  void Miss(const CommandReply& reply, std::string_view what);
  /// Something that another family lacks too, and that is recorded already; nothing when that is whole.
  void Inherit(const FamilyProgress& other);
  /// Wrong data that cost nothing but themselves: a gap, and the family stays complete.
  static void Note(std::string_view what, std::string_view why);

  /// Complete or partial when there are records; absent or failed otherwise.
  Model::FamilyResult Result(bool hasRecords) const;
  /// Nothing is missing.
  bool IsWhole() const noexcept { return misses_ == 0; }

 private:
  const char* family_;
  unsigned misses_ = 0;
  FailureCause cause_ = FailureCause::None;
  std::string reason_;
};

/// What the families of one reading share.
struct ReadingContext {
  ReadingContext(CommandRunner& runner, const ReadingOptions& wanted, Model::Inventory& result)
      : commands(runner), options(wanted), inventory(result) {}

  CommandRunner& commands;
  const ReadingOptions& options;
  Model::Inventory& inventory;
  CommandReply deviceReply;
  std::optional<DeviceId> device;  ///< nothing when the response is not one
  std::optional<ChassisStatus> chassis;
  std::optional<Repository> repository;
  FamilyProgress repositoryProgress{"sensor data records"};
  std::optional<FruInventory> ownFru;
  FamilyProgress ownFruProgress{"FRU device 0"};
  std::map<u8, std::string> systemInfo;                ///< texts that were asked for, by parameter
  std::optional<bool> hasDcmi;                         ///< nothing before the target has told
  std::optional<std::string> controllerName;           ///< nothing before the target has told
  std::map<EntityKey, std::string> componentOfEntity;  ///< id of the component that stands for an entity

  bool Wants(Model::Family family) const;
  /// Id of the component that stands for an entity, else for the nearest entity that contains it, else of the system.
  std::string ComponentOf(const EntityKey& entity) const;
  /// The same of what contains the entity.
  std::string ContainerOf(const EntityKey& entity) const;

 private:
  const EntityKey* ContainerEntity(const EntityKey& entity) const;
};

constexpr char kSystemId[] = "system";
constexpr char kManagerId[] = "bmc";

// One function for each family, in the order in which they are read. Each sets the result of its family.
void ReadSystem(ReadingContext& context);
void ReadFirmware(ReadingContext& context);
void ReadNetwork(ReadingContext& context);
void ReadComponents(ReadingContext& context);
void ReadSensors(ReadingContext& context);
void ReadLeds(ReadingContext& context);
void ReadLogs(ReadingContext& context);

/// The repository, read once in a reading; from a cache where that holds. Its FRU devices stand for their entities
/// then.
const Repository& RepositoryOf(ReadingContext& context);

/// Null when the target does not tell.
const ChassisStatus* ChassisStatusOf(ReadingContext& context, FamilyProgress& progress);

/// A text of Get System Info Parameters; empty when the target has none.
std::string ReadSystemInfo(ReadingContext& context, u8 parameter, FamilyProgress& progress);
/// Id of the component of a FRU device.
std::string ComponentIdOf(const FruLocator& locator);
constexpr u8 kSystemFirmwareVersion = 1;
constexpr u8 kSystemName = 2;
constexpr u8 kPrimaryOsName = 3;
constexpr u8 kOsName = 4;
constexpr u8 kOsVersion = 5;

/// All wanted families of an open session.
void ReadInventory(Kelvar::Ipmi::AddressedCommands& client, Clock& clock, const ReadingOptions& options,
                   Model::Inventory& inventory);

}  // namespace Kelvar::Reader::Ipmi
