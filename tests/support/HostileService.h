#pragma once

#include <cstddef>
#include <string>

#include "support/ScriptedHttpServer.h"

namespace Kelvar::Test {

/// {"@odata.id":"PATH"}.
std::string Link(const std::string& path);

/// Makes `server` a Redfish service of one collection ("Chassis/1/Thermal" and the like, below the service root) of
/// `members` resources, each of which is `member`. What is above the collection has one member, and links to it.
void ServeCollection(ScriptedHttpServer& server, const std::string& collection, const std::string& member,
                     std::size_t members = 1000);

}  // namespace Kelvar::Test
