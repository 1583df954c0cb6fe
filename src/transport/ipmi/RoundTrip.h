#pragma once

#include "transport/ipmi/IpmiTimings.h"

namespace Kelvar::Ipmi {

/// How long a target takes to answer, and the waits that follow from it: the smoothed round trip and its variation, as
/// TCP keeps them. Each copy of a request has a number of its own, so that a reply measures the copy it belongs to.
class RoundTrip {
 public:
  using Duration = Clock::duration;

  void Forget() { *this = RoundTrip(); }
  void Add(Duration sample);
  /// Copies that the target got after the one it answered: it may have to work through them before the next request.
  void SetBacklog(u32 copies) { backlog_ = copies; }

  /// The wait after transmission number `index`, which counts from 0.
  Duration WaitAfter(const IpmiTimings& timings, u32 index) const;
  /// How long replies to what was sent last may take; 0 as long as nothing is known.
  Duration Expected() const { return known_ ? smoothed_ + std::max(4 * variation_, smoothed_) : Duration(0); }
  /// What the target needs for the copies that it may still have to work through.
  Duration Backlog() const { return backlog_ * smoothed_; }

 private:
  bool known_ = false;
  Duration smoothed_{0};
  Duration variation_{0};
  u32 backlog_ = 0;
};

}  // namespace Kelvar::Ipmi
