#pragma once

#include <algorithm>
#include <chrono>

#include <kelvar/Types.h>

namespace Kelvar {

/// Waits of an IPMI session, all in milliseconds.
struct IpmiTimings {
  u32 firstWaitMs = 250;     ///< least wait before a request is sent for the second time; longer for slow targets
  u32 longestWaitMs = 2000;  ///< bound of the growing wait, unless the target is known to be slower
  u32 tries = 4;             ///< transmissions of one request, the first included
  u32 limitMs = 10000;       ///< silence that ends a connect or a send: the time since the last reply
  u32 idleExpiryMs = 30000;  ///< a session idle for longer may have expired: the first silence opens another one
  u32 setUpLimitMs = 60000;  ///< bound of one session set-up with a target that does answer
  u32 busyPauseMs = 50;      ///< before a busy target is asked again; doubles each time
  u32 busyTries = 7;         ///< transmissions of one request to a busy target, the first included
  u32 bridgedWaitMs = 1000;  ///< for a satellite or another logical unit; doubles with each transmission
  u32 bridgedTries = 2;      ///< transmissions of one request to it, the first included
};

namespace Ipmi {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

/// Milliseconds until `end`, rounded up; 0 when it is past.
inline int LeftUntil(Clock::time_point end) {
  const auto left = std::chrono::ceil<Milliseconds>(end - Clock::now()).count();
  return static_cast<int>(std::clamp<long>(left, 0, 1'000'000));
}

}  // namespace Ipmi
}  // namespace Kelvar
