#pragma once

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "module/reader/ipmi/CommandRunner.h"
#include "module/reader/ipmi/SdrRecord.h"
#include "module/reader/ipmi/SensorThresholds.h"

namespace Kelvar::Reader::Ipmi {

/// Which sensors keep to the thresholds of their records, which cost no command.
///
/// One whose thresholds software may set is asked for them, and so is one that its record does not set. Of the others
/// eight are asked, since firmware may know better than its records. When one of these has others than its record, no
/// record of the target is believed.
class LiveThresholds {
 public:
  LiveThresholds(CommandRunner& commands, const std::vector<SensorRecord>& sensors);

  /// Those of a sensor of the sample.
  std::optional<RawThresholds> Find(const SensorKey& key) const;
  /// The sensor has to be asked, for all that its record says.
  bool MayDiffer(const SensorRecord& record) const noexcept {
    return differ_ || record.thresholdsAreSettable || !record.thresholdsAreInitial || unread_.count(record.key) != 0;
  }

 private:
  std::map<SensorKey, RawThresholds> sample_;
  std::set<SensorKey> unread_;  ///< of the sample, for another time
  bool differ_ = false;
};

/// A sensor of the target's own, not of a satellite, that can be asked for its thresholds.
bool HasLiveThresholds(const SensorRecord& record);

}  // namespace Kelvar::Reader::Ipmi
