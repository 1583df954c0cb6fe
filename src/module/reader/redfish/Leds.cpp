#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

void Add(Collected& to, const LedPlace& place, const char* purpose, const std::string& state) {
  Model::Led led;
  led.id = place.id;
  led.name = place.name;
  led.parent = place.parent;
  led.purpose = purpose;
  led.state = state;
  to.inventory->leds.push_back(std::move(led));
}

}  // namespace

void TakeLed(Collected& to, const LedPlace& place, JsonValue json) {
  if (!to.Wants(Model::Family::Leds)) {
    return;
  }
  const std::string former = Lower(MessageAt(json, "IndicatorLED"));
  const auto active = BoolAt(json, "LocationIndicatorActive");
  const bool shines = former == "lit" || former == "blinking";
  const bool isKnown = shines || former == "off";
  if (isKnown && active && shines != *active) {  // two LEDs: this one shows something else
    Add(to, {place.id + "#/IndicatorLED", place.name, place.parent}, "other", former);
  }
  const bool tellsMore = isKnown && shines == active.value_or(shines);  // than whether it is active
  if (tellsMore || (!active && former == "unknown")) {
    Add(to, place, "locate", former);
  } else if (active) {
    Add(to, place, "locate", *active ? "lit" : "off");
  }
}

void FinishLeds(Collected& from) {
  auto& leds = from.inventory->leds;
  std::set<std::string> ids;
  std::transform(leds.begin(), leds.end(), std::inserter(ids, ids.end()), [](const Model::Led& led) { return led.id; });
  const auto isDouble = [&](Model::Led& led) {
    const auto joined = from.joined.find(led.parent);
    if (joined == from.joined.end()) {
      return false;
    }
    led.id = led.id == led.parent ? joined->second : joined->second + led.id.substr(led.parent.size());
    led.parent = joined->second;
    return led.parent.empty() || !ids.insert(led.id).second;
  };
  leds.erase(std::remove_if(leds.begin(), leds.end(), isDouble), leds.end());
  for (Model::Led& led : leds) {
    led.parent = led.parent.empty() ? from.PlaceAbove(led.id) : led.parent;
  }
  std::stable_sort(leds.begin(), leds.end(),
                   [](const Model::Led& left, const Model::Led& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
