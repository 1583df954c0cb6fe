#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/record/HttpFetch.h"

namespace Kelvar::Simulator {

/// The path that a reference leads to, percent-decoded, when a folder can mirror it: below /redfish, without a segment
/// such as ".." that names another place, and not too long or deep.
std::optional<std::string> MirroredPath(std::string_view reference);

struct WalkResult {
  /// Pages by their paths, collections with the members of all of their pages.
  std::map<std::string, std::string> pages;
  /// References that were not followed, or led to nothing that can be recorded.
  std::size_t leftOut = 0;
};

/// Follows references from the service root. Ends after `mostPages` requests, 256 MiB in all, or 20 minutes; a page has
/// at most 16 MiB. Throws std::runtime_error when there is no service root.
WalkResult WalkRedfish(HttpFetch& fetch, std::size_t mostPages);

}  // namespace Kelvar::Simulator
