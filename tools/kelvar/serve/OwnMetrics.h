#pragma once

#include <map>
#include <string>
#include <utility>

#include "tools/kelvar/serve/ProbePool.h"

namespace Kelvar::Tool::Serve {

/// What the exporter tells of itself: the process, its requests and its readings.
std::string OwnMetricsText(const std::map<std::pair<std::string, unsigned>, std::size_t>& answered,
                           const ProbePool::Counts& readings);

}  // namespace Kelvar::Tool::Serve
