#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "simulator/redfish/Query.h"
#include "simulator/redfish/Sessions.h"

namespace Kelvar::Simulator {

/// How a machine's Redfish service behaves, from redfish/service.json in its folder; all keys may be absent:
///
///     {"expand": "supported" | "refused" | "ignored", "expandLevels": 2,
///      "queries": "ignored", "unknownQueries": "ignored",
///      "anyCase": true, "loginForRoot": true,
///      "sessions": {"path": "/redfish/v1/Sessions", "limit": 8, "timeout": 1800, "absoluteLocation": true},
///      "pageSize": {"/redfish/v1/Chassis/1/Sensors": 2},
///      "logEntries": 10000, "sensors": 2000}
struct ServiceSettings {
  QuerySupport queries;
  /// Whether paths are found in any case.
  bool anyCase = false;
  /// Whether the service root too is told only to those who have logged in.
  bool loginForRoot = false;
  std::string sessionsPath{Sessions::kUsualPath};
  SessionLimits sessions;
  /// Whether a new session's Location names the host.
  bool absoluteLocation = false;
  /// Collections that are served in pages of at most so many members.
  std::map<std::string, std::size_t, std::less<>> pageSize;
  /// How many members the logs and the sensor collections are given, when not those of the machine.
  std::optional<std::size_t> logEntries;
  std::optional<std::size_t> sensors;
};

/// Reads the file; the defaults when there is none. Throws std::runtime_error.
ServiceSettings ReadSettings(const std::filesystem::path& file);

}  // namespace Kelvar::Simulator
