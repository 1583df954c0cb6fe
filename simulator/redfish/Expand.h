#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Kelvar::Simulator {

/// What a query $expand asks for.
struct ExpandQuery {
  /// References inside and outside of "Links"; those in "RelatedItem" lead back, and count as inside.
  bool links = false;
  bool subordinates = false;
  unsigned levels = 1;
};

/// Reads the value of $expand: ".", "*" or "~", with or without "($levels=N)"; nothing when it is none of them or
/// N is not 1 to `maxLevels`.
std::optional<ExpandQuery> ParseExpand(std::string_view value, unsigned maxLevels);

/// Gives the page of a path, or nothing.
using Resolver = std::function<std::optional<std::string>(std::string_view path)>;

/// The page with its references replaced by the pages they lead to; those that lead nowhere stay.
std::string Expand(std::string_view page, const ExpandQuery& query, const Resolver& resolve);

}  // namespace Kelvar::Simulator
