#pragma once

#include <string>

namespace Kelvar::Reader::Ipmi {

struct SelEvent;

/// What event data 2 and 3 of an event of states tell beyond its state, where the standard gives them a meaning for
/// the sensor type: "DIMM 3", "memory initialization". Empty else.
std::string DiscreteDetail(const SelEvent& event);

}  // namespace Kelvar::Reader::Ipmi
