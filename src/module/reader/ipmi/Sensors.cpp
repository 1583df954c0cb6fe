#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/Dcmi.h"
#include "module/reader/ipmi/EntityNames.h"
#include "module/reader/ipmi/IpmiSensorUnits.h"
#include "module/reader/ipmi/LiveThresholds.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/SensorStates.h"
#include "module/reader/ipmi/SensorThresholds.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Model::Health;
using Model::Sensor;

/// Get Sensor Reading.
struct Reading {
  u8 raw = 0;
  bool valid = false;
  bool scanning = false;
  bool hasBits = false;
  u16 bits = 0;  ///< crossed thresholds, or states

  CrossedThresholds Crossed() const { return {raw, static_cast<u8>(bits)}; }
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
  reading.hasBits = reader.Ok();
  reading.bits |= static_cast<u16>((reader.U8() & 0x7F) << 8);  // 0 for bytes that are not there
  return reading;
}

/// Sensors whose controllers did not respond: told once for each controller.
class Unreached {
 public:
  void Add(const ControllerAddress& place, const CommandReply& reply) {
    auto& [count, last] = places_[NameOf(place)];
    ++count;
    last = reply.outcome == Outcome::Unreached || last.empty() ? reply.Text() : last;
  }

  void Tell(FamilyProgress& progress) const {
    for (const auto& [place, sensors] : places_) {
      progress.Miss(GapKind::Failure, FailureCause::NotOffered, "sensors of " + place,
                    std::to_string(sensors.first) + " not read: " + sensors.second);
    }
  }

 private:
  std::map<std::string, std::pair<unsigned, std::string>> places_;
};

/// Reads and fills the record of one sensor.
class SensorReader {
 public:
  SensorReader(ReadingContext& context, FamilyProgress& progress, const LiveThresholds& live,
               const SensorRecord& record)
      : context_(context), progress_(progress), live_(live), record_(record) {}

  Sensor Read(Unreached& unreached) {
    Describe();
    const CommandReply reply = Ask(kGetReading, {record_.key.number});
    answers_ = reply.Ok() || reply.IsAbsent();
    present_ = reply.outcome != Outcome::NotPresent;
    const auto reading = reply.Ok() ? ParseReading(reply.data) : std::nullopt;
    if (reading) {
      AddReading(*reading);
    } else if (reply.IsAbsent()) {
      sensor_.state = reply.outcome == Outcome::NotPresent ? "absent" : "unavailable_offline";
    } else if (reply.outcome == Outcome::Unreached || reply.outcome == Outcome::GivenUp) {
      unreached.Add(record_.key.Place(), reply);
    } else {
      progress_.Miss(reply, "sensor " + sensor_.name);
    }
    if (record_.IsNumeric() && (IsLinear() || answers_)) {
      AddThresholds(reading && reading->valid && reading->hasBits ? std::optional(reading->Crossed()) : std::nullopt);
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
    // One with thresholds alone, without a number, is still of its kind.
    sensor_.kind = numeric || record_.HasThresholds() ? NumericKind(record_.sensorType, record_.units) : "discrete";
    sensor_.unit = numeric ? UnitText(record_.units) : std::string();
    sensor_.context = EntityKindOf(record_.entity.id).context;
    sensor_.parent = context_.ComponentOf(record_.entity);
  }

  /// Those of the record where the sensor is not likely to have others.
  RawThresholds Thresholds(const std::optional<CrossedThresholds>& crossed) {
    if (const auto known = live_.Find(record_.key)) {
      return *known;
    }
    const RawThresholds told = ThresholdsOf(record_);
    const bool differ = live_.MayDiffer(record_) || (crossed && IsLinear() && Contradicts(record_, told, *crossed));
    if (told.readable == 0 || !differ || !answers_ || !present_ || context_.commands.IsOver()) {
      return told;
    }
    const CommandReply reply = Ask(kGetThresholds, {record_.key.number});
    if (!reply.Ok() && !reply.IsAbsent()) {
      progress_.Miss(reply, "thresholds of sensor " + sensor_.name);
    }
    auto live = reply.Ok() ? ParseThresholds(reply.data) : std::nullopt;
    if (live) {
      live->readable &= told.readable;
    }
    return live.value_or(told);
  }

  void AddThresholds(const std::optional<CrossedThresholds>& crossed) {
    const std::array<std::optional<double>*, kThresholdCount> members = {
        &sensor_.lower_caution, &sensor_.lower_critical, &sensor_.lower_fatal,
        &sensor_.upper_caution, &sensor_.upper_critical, &sensor_.upper_fatal};
    RawThresholds thresholds = Thresholds(crossed);
    if (IsLinear()) {
      DropUnset(record_, crossed, thresholds);
    }
    for (std::size_t threshold = 0; threshold < members.size(); ++threshold) {
      if ((thresholds.readable & (1U << threshold)) != 0) {
        *members[threshold] = Value(thresholds.values[threshold]);
      }
    }
    if (record_.rangeMin && record_.rangeMax) {
      const auto low = Value(*record_.rangeMin);
      const auto high = Value(*record_.rangeMax);
      if (low && high && *low != *high) {
        sensor_.range_min = std::min(*low, *high);  // a negative factor turns them round
        sensor_.range_max = std::max(*low, *high);
      }
    }
  }

  void AddReading(const Reading& reading) {
    if (!reading.valid) {
      sensor_.state = reading.scanning ? "unavailable_offline" : "disabled";
      return;
    }
    if (record_.IsNumeric() && StandsForNone(record_, reading.Crossed())) {
      sensor_.state = "unavailable_offline";
      return;
    }
    sensor_.state = "enabled";
    if (record_.IsNumeric()) {
      sensor_.reading = Value(reading.raw);
    }
    if (!reading.hasBits) {
      return;
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

  bool IsLinear() const { return !record_.factors->IsNonLinear(); }

  CommandReply Ask(u8 command, std::vector<u8> data) {
    return context_.commands.Run(record_.key.Place(), kNetFnSensorEvent, command, std::move(data));
  }

  std::optional<double> Value(u8 raw) {
    if (IsLinear()) {
      return ConvertReading(raw, record_.units.AnalogFormat(), *record_.factors);
    }
    const auto known = nonLinear_.find(raw);
    return known != nonLinear_.end() ? known->second : nonLinear_[raw] = NonLinear(raw);
  }

  /// With the factors of this raw value.
  std::optional<double> NonLinear(u8 raw) {
    constexpr std::size_t kFactors = 6;
    const CommandReply reply = Ask(kGetReadingFactors, {record_.key.number, raw});
    if (!reply.Ok() || reply.data.size() < 1 + kFactors) {
      progress_.Miss(reply, "factors of sensor " + sensor_.name);
      return std::nullopt;
    }
    const std::span<const u8> data(reply.data);
    return ConvertReading(raw, record_.units.AnalogFormat(),
                          ParseFactors(record_.factors->linearisation, data.subspan(1).first<kFactors>()));
  }

  ReadingContext& context_;
  FamilyProgress& progress_;
  const LiveThresholds& live_;
  const SensorRecord& record_;
  Sensor sensor_;
  bool answers_ = false;                           ///< its controller does
  bool present_ = true;                            ///< the controller did not say that it has no such sensor
  std::map<u8, std::optional<double>> nonLinear_;  ///< values by raw value
};

bool HasReading(const SensorRecord& record) {
  return !record.IsEventOnly() && !record.key.IsSoftware();
}

/// Asks for the readings from `first` on, several at a time, and for thresholds that records may not have; gives the
/// first one that it left out.
std::size_t ReadAhead(CommandRunner& commands, const std::vector<SensorRecord>& sensors, const LiveThresholds& live,
                      std::size_t first) {
  std::vector<std::vector<u8>> requests;
  std::vector<const SensorRecord*> asked;
  std::size_t at = first;
  for (; at < sensors.size() && requests.size() < CommandRunner::kMostAhead; ++at) {
    if (HasReading(sensors[at]) && sensors[at].key.Place().IsPlain()) {
      requests.push_back({sensors[at].key.number});
      asked.push_back(&sensors[at]);
    }
  }
  const auto replies = commands.Prefetch(kNetFnSensorEvent, kGetReading, requests);
  std::vector<std::vector<u8>> thresholds;
  for (std::size_t index = 0; index < asked.size(); ++index) {
    const SensorRecord& record = *asked[index];
    const bool missing = replies[index] != nullptr && replies[index]->outcome == Outcome::NotPresent;
    if (!missing && HasLiveThresholds(record) && live.MayDiffer(record) && !live.Find(record.key)) {
      thresholds.push_back({record.key.number});
    }
  }
  commands.PrefetchMore(kNetFnSensorEvent, kGetThresholds, thresholds);
  return at;
}

/// Controllers on different channels may have the same address: then the channel is part of an id too.
void MakeUnique(std::string& id, const SensorKey& key, std::set<std::string>& ids) {
  if (!ids.insert(id).second) {
    std::array<char, 4> channel{};
    (void)std::snprintf(channel.data(), channel.size(), ".%x", unsigned{key.channel});
    ids.insert(id += channel.data());
  }
}

}  // namespace

void ReadSensors(ReadingContext& context) {
  FamilyProgress progress("sensors");
  const Repository& repository = RepositoryOf(context);
  progress.Inherit(context.repositoryProgress);
  auto& sensors = context.inventory.sensors;
  std::set<std::pair<ControllerAddress, u8>> seen;
  std::set<std::string> ids;
  Unreached unreached;
  const LiveThresholds live(context.commands, repository.sensors);
  std::size_t left = 0;
  std::size_t ahead = 0;
  for (std::size_t at = 0; at < repository.sensors.size(); ++at) {
    const SensorRecord& record = repository.sensors[at];
    ahead = at >= ahead ? ReadAhead(context.commands, repository.sensors, live, at) : ahead;
    if (!HasReading(record) || !seen.insert({record.key.Place(), record.key.number}).second) {
      continue;
    }
    if (context.commands.IsOver()) {
      ++left;
      continue;
    }
    sensors.push_back(SensorReader(context, progress, live, record).Read(unreached));
    MakeUnique(sensors.back().id, record.key, ids);
  }
  unreached.Tell(progress);
  if (auto power = DcmiPower(context, progress)) {
    sensors.push_back(std::move(*power));
  }
  if (left > 0) {
    CommandReply over;
    over.outcome = context.commands.WhyOver();
    progress.Miss(GapKind::Truncated, over.Cause(), "sensors", std::to_string(left) + " not read: " + over.Text());
  }
  context.inventory.ResultOf(Model::Family::Sensors) = progress.Result(!sensors.empty());
}

}  // namespace Kelvar::Reader::Ipmi
