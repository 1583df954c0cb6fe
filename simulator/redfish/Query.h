#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "simulator/http/HttpMessage.h"
#include "simulator/redfish/Expand.h"

namespace Kelvar::Simulator {

/// What the query of a target asks for.
struct RedfishQuery {
  std::optional<ExpandQuery> expand;
  std::size_t skip = 0;
  std::optional<std::size_t> top;
};

enum class ExpandSupport { Supported, Refused, Ignored };

/// Which queries a service knows.
struct QuerySupport {
  ExpandSupport expand = ExpandSupport::Supported;
  unsigned expandLevels = 2;
  /// Whether no query has any effect, or none that is unknown.
  bool ignored = false;
  bool unknownIgnored = false;
};

/// Reads the query, without the "?". On a parameter that the service does not have, or a value that it cannot read, the
/// answer to give instead is put into `refusal`. Parameters that do not begin with "$" are passed over.
RedfishQuery ParseQuery(std::string_view text, const QuerySupport& support, std::optional<HttpResponse>& refusal);

/// A collection's page with the members that $skip and $top leave, and at most `pageSize` of them, then with a link to
/// the next page. Pages that are not collections come back as they are.
std::string CutPage(std::string page, std::string_view path, const RedfishQuery& query,
                    std::optional<std::size_t> pageSize);

}  // namespace Kelvar::Simulator
