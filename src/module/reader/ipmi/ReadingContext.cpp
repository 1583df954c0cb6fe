#include "module/reader/ipmi/ReadingContext.h"

#include <algorithm>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Model::Family;
using Model::FamilyStatus;

void FailAll(const ReadingOptions& options, Model::Inventory& inventory, FailureCause cause, const std::string& why) {
  for (const Family family : options.families) {
    inventory.ResultOf(family) = {FamilyStatus::Failed, cause, why};
  }
}

/// The target's own words first, then what costs more; the log, which is lost most often, last.
constexpr struct {
  Family family;
  void (*read)(ReadingContext&);
} kOrder[] = {
    {Family::Leds, ReadLeds},         {Family::Network, ReadNetwork},
    {Family::Firmware, ReadFirmware}, {Family::Components, ReadComponents},
    {Family::System, ReadSystem},     {Family::Sensors, ReadSensors},
    {Family::Logs, ReadLogs},
};

}  // namespace

const SensorRecord* Repository::Find(const SensorKey& key) const {
  auto sensor =
      std::find_if(sensors.begin(), sensors.end(), [&key](const SensorRecord& record) { return record.key == key; });
  if (sensor == sensors.end()) {
    sensor = std::find_if(sensors.begin(), sensors.end(), [&key](const SensorRecord& record) {
      return record.key.owner == key.owner && record.key.lun == key.lun && record.key.number == key.number;
    });
  }
  return sensor != sensors.end() ? &*sensor : nullptr;
}

void FamilyProgress::Miss(GapKind kind, FailureCause cause, std::string_view what, std::string_view why) {
  ++misses_;
  if (reason_.empty()) {
    cause_ = cause;
    reason_ = std::string(what) + ": " + std::string(why);
  }
  KELVAR_LOG(2) << "IPMI reading, " << family_ << ": " << what << ": " << why;
  DiagnosticsRecorder::AddGap(kind, cause, what, why);
}

void FamilyProgress::Miss(const CommandReply& reply, std::string_view what) {
  Miss(reply.outcome == Outcome::Late ? GapKind::Truncated : GapKind::Failure, reply.Cause(), what, reply.Text());
}

void FamilyProgress::Inherit(const FamilyProgress& other) {
  if (reason_.empty()) {
    cause_ = other.cause_;
    reason_ = other.reason_;
  }
  misses_ += other.misses_;
}

void FamilyProgress::Note(std::string_view what, std::string_view why) {
  KELVAR_LOG(2) << "IPMI reading: " << what << ": " << why;
  DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, what, why);
}

Model::FamilyResult FamilyProgress::Result(bool hasRecords) const {
  if (misses_ == 0) {
    return {hasRecords ? FamilyStatus::Complete : FamilyStatus::Absent, FailureCause::None,
            hasRecords ? "" : "the target has none"};
  }
  std::string reason = reason_;
  if (misses_ > 1) {
    reason += " (and " + std::to_string(misses_ - 1) + " more)";
  }
  return {hasRecords ? FamilyStatus::Partial : FamilyStatus::Failed, cause_, reason};
}

bool ReadingContext::Wants(Family family) const {
  return std::find(options.families.begin(), options.families.end(), family) != options.families.end();
}

std::string ReadingContext::ComponentOf(const EntityKey& entity) const {
  const auto component = componentOfEntity.find(entity);
  return component != componentOfEntity.end() ? component->second : ContainerOf(entity);
}

std::string ReadingContext::ContainerOf(const EntityKey& entity) const {
  constexpr unsigned kDeepest = 8;
  const EntityKey* container = ContainerEntity(entity);
  for (unsigned depth = 0; container != nullptr && depth < kDeepest; ++depth) {
    const auto component = componentOfEntity.find(*container);
    if (component != componentOfEntity.end()) {
      return component->second;
    }
    container = ContainerEntity(*container);
  }
  return kSystemId;
}

const EntityKey* ReadingContext::ContainerEntity(const EntityKey& entity) const {
  if (!repository) {
    return nullptr;
  }
  for (const EntityAssociation& association : repository->associations) {
    const auto& contained = association.contained;
    if (association.container != entity && std::find(contained.begin(), contained.end(), entity) != contained.end()) {
      return &association.container;
    }
  }
  return nullptr;
}

void ReadInventory(Kelvar::Ipmi::AddressedCommands& client, Clock& clock, const ReadingOptions& options,
                   Model::Inventory& inventory) {
  CommandRunner commands(client, clock, options.deadline, options.cancelled);
  ReadingContext context(commands, options, inventory);
  const CommandReply& reply = context.deviceReply = commands.Run(kNetFnApplication, kGetDeviceId);
  if (reply.outcome == Outcome::Silent || reply.IsUnsent()) {
    FailAll(options, inventory, reply.Cause(), "device ID: " + reply.Text());
    return;
  }
  context.device = reply.Ok() ? ParseDeviceId(reply.data) : std::nullopt;
  for (const auto& step : kOrder) {
    if (context.Wants(step.family)) {
      step.read(context);
    }
  }
}

}  // namespace Kelvar::Reader::Ipmi
