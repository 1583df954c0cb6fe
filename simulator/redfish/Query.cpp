#include "simulator/redfish/Query.h"

#include <algorithm>
#include <charconv>

#include "simulator/redfish/ErrorPage.h"
#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

std::optional<std::size_t> Count(std::string_view text) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/// Reads one parameter; false when its value cannot be read.
bool ReadParameter(std::string_view name, std::string_view value, unsigned expandLevels, RedfishQuery& query) {
  if (name == "$expand") {
    query.expand = ParseExpand(value, expandLevels);
    return query.expand.has_value();
  }
  const auto number = Count(value);
  if (name == "$skip") {
    query.skip = number.value_or(0);
  } else {
    query.top = number;
  }
  return number.has_value();
}

}  // namespace

RedfishQuery ParseQuery(std::string_view text, const QuerySupport& support, std::optional<HttpResponse>& refusal) {
  RedfishQuery query;
  while (!text.empty() && !refusal && !support.ignored) {
    const std::string parameter = PercentDecode(text.substr(0, text.find('&')));
    text.remove_prefix(std::min(text.find('&'), text.size() - 1) + 1);
    const std::string_view whole(parameter);
    const std::string_view name = whole.substr(0, whole.find('='));
    const std::string_view value = whole.substr(std::min(name.size() + 1, whole.size()));
    const bool isExpand = name == "$expand";
    const bool known = (isExpand && support.expand != ExpandSupport::Refused) || name == "$skip" || name == "$top";
    const bool passedOver =
        (isExpand && support.expand == ExpandSupport::Ignored) || (!known && support.unknownIgnored);
    if (!name.starts_with('$') || passedOver) {
      continue;
    }
    if (!known) {
      refusal = ErrorPage(RedfishError::QueryNotSupported, name);
    } else if (!ReadParameter(name, value, support.expandLevels, query)) {
      refusal = ErrorPage(RedfishError::QueryParameterValue, name);
    }
  }
  return query;
}

std::string CutPage(std::string page, std::string_view path, const RedfishQuery& query,
                    std::optional<std::size_t> pageSize) {
  if (query.skip == 0 && !query.top && !pageSize) {
    return page;
  }
  const auto members = JsonText::Member(page, "Members");
  const auto elements = JsonText::Elements(members.value_or(""));
  if (!members || elements.empty()) {
    return page;
  }
  const std::size_t first = std::min(query.skip, elements.size());
  const std::size_t wanted = std::min(query.top.value_or(elements.size()), elements.size() - first);
  const std::size_t shown = std::min(wanted, pageSize.value_or(wanted));
  std::string kept = "[";
  for (std::size_t i = first; i < first + shown; ++i) {
    kept.append(i > first ? ", " : "").append(elements[i]);
  }
  kept += ']';
  if (shown < wanted) {
    const std::string next = std::string(path) + "?$skip=" + std::to_string(first + shown);
    kept += ",\n  \"Members@odata.nextLink\": " + JsonText::Quote(next);
  }
  return JsonText::Replace(page, *members, kept);
}

}  // namespace Kelvar::Simulator
