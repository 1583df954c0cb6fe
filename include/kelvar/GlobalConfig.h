#pragma once

#include <string>

#include <kelvar/Export.h>

namespace Kelvar {

// Process-wide settings, held in memory only: no file and no environment variable is read. Safe from any thread.
//
// "REDFISH_STARTUP_WAIT_TIME": seconds (180 by default) for which a Redfish request is repeated while the service
// answers 503. The first value other than 0 that a request reads holds for the life of the process; 0 means no wait.

/// The value of a setting, or `defaultValue` when it is not set.
KELVAR_EXPORT int GetGlobalConfigValue(const std::string& name, int defaultValue);

/// Sets a setting for all objects of the process.
KELVAR_EXPORT void SetGlobalConfigValue(const std::string& name, int value);

}  // namespace Kelvar
