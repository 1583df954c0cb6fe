#include "transport/ipmi/RoundTrip.h"

namespace Kelvar::Ipmi {

void RoundTrip::Add(Duration sample) {
  if (!known_) {
    known_ = true;
    smoothed_ = sample;
    variation_ = sample / 2;
    return;
  }
  // The target may have worked through earlier copies first.
  const Duration own = std::max(sample - Backlog(), sample / (1 + backlog_));
  variation_ += (std::chrono::abs(smoothed_ - own) - variation_) / 4;
  smoothed_ += (own - smoothed_) / 8;
}

RoundTrip::Duration RoundTrip::WaitAfter(const IpmiTimings& timings, u32 index) const {
  const Duration least = Milliseconds(timings.firstWaitMs);
  const Duration longest = Milliseconds(timings.longestWaitMs);
  if (!known_) {
    // The target may be slow, and then every copy keeps it busy: one soon, in case the first was lost, others later.
    const u32 grown = index == 0 ? 1 : 3U << std::min(2 * (index - 1), 16U);
    return std::min(least * grown, std::max(longest, least));
  }
  const Duration first = std::max(least, Expected()) + Backlog();
  // A target that answers in a fraction of the wait has lost a datagram rather than being slow.
  if (index == 1 && Expected() <= least / 2 && backlog_ == 0) {
    return first + first / 4;
  }
  return std::min(first * (1U << std::min(index, 16U)), std::max(longest, first));
}

}  // namespace Kelvar::Ipmi
