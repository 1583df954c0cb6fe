#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "module/reader/text/ModelText.h"

namespace Kelvar::Reader {

// Links of a Redfish service: "/redfish/v1/Chassis/1/Thermal#/Fans/0". Services spell one link in several ways: with a
// slash at the end, in another case, with the fragment's first slash missing, with their own origin in front.

/// A link in its usual spelling, letters as they came.
struct Link {
  std::string path;      ///< with "/" in front, for a request; may hold a query
  std::string fragment;  ///< "/Fans/0", or empty
};

/// Nothing for a text that is not a link on the target itself. `origin` is the target's own scheme, host and port.
std::optional<Link> ParseLink(std::string_view text, std::string_view origin);

/// What is equal for all spellings of one link.
std::string KeyOf(std::string_view path);

/// How a record names the resource: without "/redfish/v1/" in front and a slash at the end. Outside of the root the
/// slash in front stays, so that no two resources have one id.
std::string IdOf(std::string_view path);

/// The id that holds this one by its path; empty at the top: "Chassis/1/Thermal#/Fans/0" -> "Chassis/1/Thermal#/Fans",
/// "Chassis/1/Thermal" -> "Chassis/1".
std::string_view Above(std::string_view id);

/// The last segment of a path or id.
std::string_view LastSegment(std::string_view path);

}  // namespace Kelvar::Reader
