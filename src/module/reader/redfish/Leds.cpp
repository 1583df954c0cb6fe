#include <algorithm>
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
  std::stable_sort(leds.begin(), leds.end(),
                   [](const Model::Led& left, const Model::Led& right) { return NaturalLess(left.id, right.id); });
}

}  // namespace Kelvar::Reader
