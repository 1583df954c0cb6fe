#pragma once

#include <string>

#include <kelvar/Inventory.h>

namespace Kelvar::Reader::Ipmi {

struct SelEvent;

/// What event data 2 and 3 of an event of states tell beyond its state: the state before, and where the standard gives
/// them a meaning for the sensor type: "memory module 3", "memory initialization". Empty else.
std::string DiscreteDetail(const SelEvent& event);

/// The severity that an event of states has in event data 2; Unknown without one.
Model::Health SeverityOf(const SelEvent& event) noexcept;

}  // namespace Kelvar::Reader::Ipmi
