#pragma once

#include <algorithm>
#include <chrono>

#include <kelvar/Types.h>

namespace Kelvar {

/// Waits of an IPMI session, all in milliseconds.
struct IpmiTimings {
  u32 firstWaitMs = 250;     ///< before a request is sent for the second time; each further one takes longer
  u32 longestWaitMs = 2000;  ///< bound of the growing wait
  u32 tries = 4;             ///< transmissions of one request, the first included
  u32 limitMs = 10000;       ///< bound of one connect or send, with everything it repeats
  u32 idleExpiryMs = 30000;  ///< a session idle for longer may have expired: silence then makes it open again once
};

namespace Ipmi {

using Clock = std::chrono::steady_clock;

inline Clock::time_point After(u32 milliseconds) {
  return Clock::now() + std::chrono::milliseconds(milliseconds);
}

/// Milliseconds until `end`, rounded up; 0 when it is past.
inline int LeftUntil(Clock::time_point end) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
  return static_cast<int>(std::clamp<long>(left, 0, 1'000'000));
}

/// The wait after transmission number `index`, which counts from 0. A target that is known as prompt has lost a
/// datagram rather than being slow: the second wait is but a quarter longer than the first. More copies would only keep
/// a slow one busy.
inline std::chrono::milliseconds WaitAfter(const IpmiTimings& timings, u32 index, bool prompt = false) {
  const u64 first = timings.firstWaitMs;
  const u64 grown = prompt && index == 1 ? first + first / 4 : first << std::min(index, 16U);
  return std::chrono::milliseconds(std::min<u64>(grown, timings.longestWaitMs));
}

}  // namespace Ipmi
}  // namespace Kelvar
