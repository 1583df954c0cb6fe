#include <algorithm>
#include <array>
#include <cstdio>
#include <set>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/EntityNames.h"
#include "module/reader/ipmi/IpmiSensorUnits.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/SensorStates.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Model::Health;
using Model::Sensor;

constexpr u8 kSensorEvent = 0x04;
constexpr u8 kGetReading = 0x2D;
constexpr u8 kGetFactors = 0x23;
constexpr u8 kOwnAddress = 0x20;

/// Get Sensor Reading.
struct Reading {
  u8 raw = 0;
  bool valid = false;
  bool scanning = false;
  u16 bits = 0;  ///< crossed thresholds, or states
};

std::optional<Reading> ParseReading(const std::vector<u8>& data) {
  Text::ByteReader reader(data);
  Reading reading;
  reading.raw = reader.U8();
  const u8 flags = reader.U8();
  if (!reader.Ok()) {
    return std::nullopt;
  }
  reading.scanning = (flags & 0x40) != 0;
  reading.valid = reading.scanning && (flags & 0x20) == 0;
  reading.bits = reader.U8();
  reading.bits |= static_cast<u16>((reader.U8() & 0x7F) << 8);  // 0 for bytes that are not there
  return reading;
}

/// Reads and fills the record of one sensor.
class SensorReader {
 public:
  SensorReader(ReadingContext& context, FamilyProgress& progress, const SensorRecord& record)
      : context_(context), progress_(progress), record_(record) {}

  Sensor Read() {
    Describe();
    if (record_.key.owner != kOwnAddress || record_.key.lun != 0) {
      return std::move(sensor_);
    }
    const CommandReply reply = context_.commands.Run(kSensorEvent, kGetReading, {record_.key.number});
    const auto reading = reply.Ok() ? ParseReading(reply.data) : std::nullopt;
    if (reading) {
      AddReading(*reading);
    } else if (reply.IsAbsent()) {
      sensor_.state = reply.outcome == Outcome::NotPresent ? "absent" : "unavailable_offline";
    } else {
      progress_.Miss(reply, "sensor " + sensor_.name);
    }
    return std::move(sensor_);
  }

 private:
  void Describe() {
    std::array<char, 32> id{};
    (void)std::snprintf(id.data(), id.size(), "%02x.%x.%02x", unsigned{record_.key.owner}, unsigned{record_.key.lun},
                        unsigned{record_.key.number});
    sensor_.id = id.data();
    sensor_.name = record_.name;
    if (sensor_.name.empty()) {
      const char* type = SensorTypeName(record_.sensorType);
      sensor_.name = std::string(type != nullptr ? type : "sensor") + " " + sensor_.id;
    }
    const bool numeric = record_.IsNumeric();
    sensor_.kind = numeric                   ? NumericKind(record_.sensorType, record_.units)
                   : record_.HasThresholds() ? "other"
                                             : "discrete";
    sensor_.unit = numeric ? UnitText(record_.units) : std::string();
    sensor_.context = EntityKindOf(record_.entity.id).context;
    sensor_.parent = context_.ComponentOf(record_.entity);
    if (numeric && !record_.factors->IsNonLinear()) {
      AddThresholds();
    }
  }

  void AddThresholds() {
    const std::array<std::optional<double>*, kThresholdCount> members = {
        &sensor_.lower_caution, &sensor_.lower_critical, &sensor_.lower_fatal,
        &sensor_.upper_caution, &sensor_.upper_critical, &sensor_.upper_fatal};
    for (std::size_t threshold = 0; threshold < members.size(); ++threshold) {
      if ((record_.readableThresholds & (1U << threshold)) != 0) {
        *members[threshold] = Value(record_.thresholds[threshold], *record_.factors);
      }
    }
    if (record_.rangeMin && record_.rangeMax) {
      const auto low = Value(*record_.rangeMin, *record_.factors);
      const auto high = Value(*record_.rangeMax, *record_.factors);
      if (low && high && *low < *high) {
        sensor_.range_min = low;
        sensor_.range_max = high;
      }
    }
  }

  void AddReading(const Reading& reading) {
    if (!reading.valid) {
      sensor_.state = reading.scanning ? "unavailable_offline" : "disabled";
      return;
    }
    sensor_.state = "enabled";
    if (record_.IsNumeric()) {
      sensor_.reading = record_.factors->IsNonLinear() ? NonLinear(reading.raw) : Value(reading.raw, *record_.factors);
    }
    if (record_.HasThresholds()) {
      SetHealth(HealthOfCrossed(static_cast<u8>(reading.bits)));
      return;
    }
    DiscreteStates states = DecodeStates(record_.eventType, record_.sensorType, reading.bits);
    sensor_.states = std::move(states.words);
    SetHealth(states.health);
  }

  void SetHealth(Health health) {
    if (health != Health::Unknown) {
      sensor_.health = NameOf(health);
    }
  }

  std::optional<double> Value(u8 raw, const ConversionFactors& factors) const {
    return ConvertReading(raw, record_.units.AnalogFormat(), factors);
  }

  /// With the factors of this raw value.
  std::optional<double> NonLinear(u8 raw) {
    const CommandReply reply = context_.commands.Run(kSensorEvent, kGetFactors, {record_.key.number, raw});
    constexpr std::size_t kFactors = 6;
    if (!reply.Ok() || reply.data.size() < 1 + kFactors) {
      progress_.Miss(reply, "factors of sensor " + sensor_.name);
      return std::nullopt;
    }
    const std::span<const u8> data(reply.data);
    return Value(raw, ParseFactors(record_.factors->linearisation, data.subspan(1).first<kFactors>()));
  }

  ReadingContext& context_;
  FamilyProgress& progress_;
  const SensorRecord& record_;
  Sensor sensor_;
};

/// Sensors of other controllers and logical units have records and no readings here: told once for each owner.
void TellUnreachable(const std::set<std::string>& owners, FamilyProgress& progress) {
  for (const std::string& owner : owners) {
    progress.Miss(GapKind::Failure, FailureCause::NotOffered, "sensors of controller " + owner,
                  "reached over another bus or logical unit only");
  }
}

}  // namespace

void ReadSensors(ReadingContext& context) {
  FamilyProgress progress("sensors");
  const Repository& repository = RepositoryOf(context);
  progress.Inherit(context.repositoryFailure);
  auto& sensors = context.inventory.sensors;
  std::set<SensorKey> seen;
  std::set<std::string> unreachable;
  std::size_t left = 0;
  for (const SensorRecord& record : repository.sensors) {
    if (record.IsEventOnly() || record.key.IsSoftware() || !seen.insert(record.key).second) {
      continue;
    }
    if (context.commands.IsOver()) {
      ++left;
      continue;
    }
    sensors.push_back(SensorReader(context, progress, record).Read());
    if (record.key.owner != kOwnAddress || record.key.lun != 0) {
      unreachable.insert(sensors.back().id.substr(0, sensors.back().id.rfind('.')));
    }
  }
  TellUnreachable(unreachable, progress);
  if (left > 0) {
    const bool late = context.commands.IsLate();
    progress.Miss(
        GapKind::Truncated, late ? FailureCause::Deadline : FailureCause::Unreachable, "sensors",
        std::to_string(left) + " not read: " + (late ? "the time was over" : "the target stopped responding"));
  }
  context.inventory.ResultOf(Model::Family::Sensors) = progress.Result(!sensors.empty());
}

}  // namespace Kelvar::Reader::Ipmi
