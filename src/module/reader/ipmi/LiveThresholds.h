#pragma once

#include <map>
#include <optional>
#include <vector>

#include "module/reader/ipmi/CommandRunner.h"
#include "module/reader/ipmi/SdrRecord.h"
#include "module/reader/ipmi/SensorThresholds.h"

namespace Kelvar::Reader::Ipmi {

/// Whether a target's sensors keep to the thresholds of their records, which cost no command.
///
/// 32 sensors are asked for theirs, which are all of them on a small machine. When one of them has others than its
/// record, no record of the target is believed.
class LiveThresholds {
 public:
  LiveThresholds(CommandRunner& commands, const std::vector<SensorRecord>& sensors);

  /// Those of a sensor of the sample.
  std::optional<RawThresholds> Find(const SensorKey& key) const;
  /// Each sensor has to be asked.
  bool Differ() const noexcept { return differ_; }

 private:
  std::map<SensorKey, RawThresholds> sample_;
  bool differ_ = false;
};

/// A sensor of the target's own, not of a satellite, that can be asked for its thresholds.
bool HasLiveThresholds(const SensorRecord& record);

}  // namespace Kelvar::Reader::Ipmi
