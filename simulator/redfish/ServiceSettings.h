#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "simulator/redfish/Query.h"

namespace Kelvar::Simulator {

/// How a machine's Redfish service behaves, from redfish/service.json in its folder; all keys may be absent:
///
///     {"expand": "supported" | "refused" | "ignored",
///      "pageSize": {"/redfish/v1/Chassis/1/Sensors": 2},
///      "logEntries": 10000, "sensors": 2000}
struct ServiceSettings {
  ExpandSupport expand = ExpandSupport::Supported;
  /// Collections that are served in pages of at most so many members.
  std::map<std::string, std::size_t, std::less<>> pageSize;
  /// How many members the logs and the sensor collections are given, when not those of the machine.
  std::optional<std::size_t> logEntries;
  std::optional<std::size_t> sensors;
};

/// Reads the file; the defaults when there is none. Throws std::runtime_error.
ServiceSettings ReadSettings(const std::filesystem::path& file);

}  // namespace Kelvar::Simulator
