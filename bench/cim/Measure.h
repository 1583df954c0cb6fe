#pragma once

#include <functional>

#include "bench/Rows.h"

namespace Kelvar::Bench {

struct Cost {
  double seconds = 0;
  double cpuSeconds = 0;
  double peakBytes = 0;  ///< growth of the resident set at its highest
};

inline Spent ToSpent(const Cost& cost) {
  return {cost.seconds, cost.cpuSeconds, cost.peakBytes / (1024 * 1024)};
}

/// Runs the action in a process of its own, so that runs do not share a heap.
Cost MeasureOnce(const std::function<void()>& action);

/// The median times of several runs, and the highest peak.
Cost Measure(const std::function<void()>& action, int runs = 5);

}  // namespace Kelvar::Bench
