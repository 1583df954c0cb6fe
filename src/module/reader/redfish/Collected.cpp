#include "module/reader/redfish/Collected.h"

#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

std::string LinkedId(JsonValue object, std::string_view path) {
  const auto link = ParseLink(LinkAt(object, path), {});
  return link ? IdOf(link->path) + (link->fragment.empty() ? "" : "#" + link->fragment) : std::string();
}

std::vector<JsonValue> Collected::RowsOf(JsonValue list) {
  std::vector<JsonValue> rows = FirstOf(list, kMostRows + 1);
  if (rows.size() > kMostRows) {
    cut = true;
    rows.pop_back();
  }
  return rows;
}

std::size_t Collected::Count() const {
  return parts.size() + readings.size() + entries.size() + inventory->systems.size() + inventory->firmware.size() +
         inventory->leds.size() + inventory->network_interfaces.size() + inventory->network_services.size();
}

std::string Collected::PlaceAbove(std::string_view id) const {
  for (std::string_view above = Above(id); !above.empty(); above = Above(above)) {
    const auto found = places.find(Lower(above));
    const auto other = found == places.end() ? joined.end() : joined.find(found->second);
    if (found != places.end() && other == joined.end()) {
      return found->second;
    }
    if (other != joined.end() && !other->second.empty()) {
      return other->second;
    }
  }
  for (std::string_view above = Above(id); !above.empty(); above = Above(above)) {
    const auto enclosure = enclosures.find(Lower(above));
    const auto place = enclosure == enclosures.end() ? places.end() : places.find(Lower(enclosure->second));
    if (place != places.end() && place->first.rfind(enclosure->first + '/', 0) != 0) {
      return place->second;
    }
  }
  return {};
}

std::string Collected::SpellingOf(const std::string& id) const {
  const auto found = places.find(Lower(id));
  const std::string& own = found == places.end() ? id : found->second;
  const auto other = joined.find(own);
  return other == joined.end() || other->second.empty() ? own : other->second;
}

}  // namespace Kelvar::Reader
