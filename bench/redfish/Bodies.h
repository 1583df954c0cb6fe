#pragma once

#include <string>

namespace Kelvar::Bench {

// Bodies in the shapes and sizes of a service processor's.

std::string LogEntries(int count);       ///< about 950 bytes an entry
std::string SmallLogEntries(int count);  ///< about 500 bytes an entry
std::string Sensors(int count);
std::string FirmwareInventory(int count);
std::string Collection(const std::string& first);
std::string System();
std::string Chassis();

}  // namespace Kelvar::Bench
