#include "module/reader/ipmi/LiveThresholds.h"

#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kMostOfSample = 8;

/// Sensors with fixed thresholds from the whole repository: those of one kind are next to each other there.
std::vector<const SensorRecord*> Spread(const std::vector<SensorRecord>& sensors) {
  std::vector<const SensorRecord*> all;
  for (const SensorRecord& record : sensors) {
    if (record.thresholdsAreInitial && !record.thresholdsAreSettable && HasLiveThresholds(record)) {
      all.push_back(&record);
    }
  }
  if (all.size() <= kMostOfSample) {
    return all;
  }
  std::vector<const SensorRecord*> sample;
  for (std::size_t index = 0; index < kMostOfSample; ++index) {
    sample.push_back(all[index * all.size() / kMostOfSample]);
  }
  return sample;
}

/// Those of the mask, and not the values of others.
bool AreEqual(const RawThresholds& left, const RawThresholds& right) {
  for (std::size_t threshold = 0; threshold < kThresholdCount; ++threshold) {
    if ((left.readable & (1U << threshold)) != 0 && left.values.at(threshold) != right.values.at(threshold)) {
      return false;
    }
  }
  return left.readable == right.readable;
}

}  // namespace

bool HasLiveThresholds(const SensorRecord& record) {
  return record.readableThresholds != 0 && record.IsNumeric() && record.key.Place().IsPlain();
}

LiveThresholds::LiveThresholds(CommandRunner& commands, const std::vector<SensorRecord>& sensors) {
  const std::vector<const SensorRecord*> sample = Spread(sensors);
  std::vector<std::vector<u8>> requests;
  requests.reserve(sample.size());
  for (const SensorRecord* record : sample) {
    requests.push_back({record->key.number});
  }
  commands.Prefetch(kNetFnSensorEvent, kGetThresholds, requests);
  for (const SensorRecord* record : sample) {
    const CommandReply reply = commands.Run(kNetFnSensorEvent, kGetThresholds, {record->key.number});
    auto live = reply.Ok() ? ParseThresholds(reply.data) : std::nullopt;
    if (live) {
      live->readable &= record->readableThresholds;
      differ_ = differ_ || !AreEqual(*live, ThresholdsOf(*record));
      sample_[record->key] = *live;
    } else if (!reply.IsAbsent()) {
      unread_.insert(record->key);
    }
  }
}

std::optional<RawThresholds> LiveThresholds::Find(const SensorKey& key) const {
  const auto found = sample_.find(key);
  return found != sample_.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace Kelvar::Reader::Ipmi
