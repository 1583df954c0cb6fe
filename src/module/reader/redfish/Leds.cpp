#include <algorithm>
#include <iterator>
#include <set>
#include <string>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

void TakeLed(Collected& to, const std::string& id, JsonValue json) {
  if (!to.Wants(Model::Family::Leds)) {
    return;
  }
  Model::Led led;
  const std::string former = Lower(MessageAt(json, "IndicatorLED"));
  const auto active = BoolAt(json, "LocationIndicatorActive");
  if (former == "off" || former == "lit" || former == "blinking") {
    led.state = former;  // tells more than whether it is active
  } else if (active) {
    led.state = *active ? "lit" : "off";
  } else if (former == "unknown") {
    led.state = former;
  } else {
    return;
  }
  led.id = id;
  led.name = TextAt(json, "Name");
  led.parent = id;
  led.purpose = "locate";
  to.inventory->leds.push_back(std::move(led));
}

void FinishLeds(Collected& from) {
  auto& leds = from.inventory->leds;
  std::set<std::string> ids;
  std::transform(leds.begin(), leds.end(), std::inserter(ids, ids.end()), [](const Model::Led& led) { return led.id; });
  const auto isDouble = [&](Model::Led& led) {
    const auto joined = from.joined.find(led.id);
    if (joined != from.joined.end()) {
      led.id = led.parent = joined->second;
    }
    return joined != from.joined.end() && !ids.insert(joined->second).second;
  };
  leds.erase(std::remove_if(leds.begin(), leds.end(), isDouble), leds.end());
  std::stable_sort(leds.begin(), leds.end(),
                   [](const Model::Led& left, const Model::Led& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
