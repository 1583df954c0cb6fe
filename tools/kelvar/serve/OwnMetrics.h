#pragma once

#include <chrono>
#include <map>
#include <string>
#include <utility>

#include "tools/kelvar/serve/ProbePool.h"

namespace Kelvar::Tool::Serve {

/// How the configuration was taken last.
struct LoadState {
  bool good = true;
  std::chrono::system_clock::time_point last = std::chrono::system_clock::now();  ///< that was good
};

/// What the exporter tells of itself: the process, its requests and its readings.
std::string OwnMetricsText(const std::map<std::pair<std::string, unsigned>, std::size_t>& answered,
                           const ProbePool::Counts& readings, std::size_t answeredWithKnown, const LoadState& loaded);

}  // namespace Kelvar::Tool::Serve
