#pragma once

#include <optional>
#include <string>

#include <kelvar/Inventory.h>

namespace Kelvar::Tool {

// Values of the model as people read them. Everything is escaped for a terminal.

/// "°C", "rpm", "V" for a UCUM unit; an unknown one as it is.
std::string UnitText(const std::string& ucum);

/// A number with at most four decimals, without trailing zeros; empty when absent.
std::string NumberText(const std::optional<double>& number);

/// "34.5 °C"; without a reading what is asserted, such as "power supply failure", or else why there is none, such as
/// "absent".
std::string ReadingText(const Model::Sensor& sensor);

/// Lower and upper limits from caution to fatal: "5..43 | 46 | 50"; a level that is absent is shown as "-" between
/// others.
std::string LimitsText(const Model::Sensor& sensor);

/// "2026-03-20 08:15:00" in UTC for an ISO 8601 time; any other text as it is.
std::string TimeText(const std::string& iso);

/// The same, without the time where that is midnight: a release has none.
std::string DateText(const std::string& iso);

/// "16 GiB", "3.84 TB": memory in binary units, drives in decimal ones.
std::string CapacityText(const Model::Component& component);

/// "192.0.2.10/24 (dhcp)".
std::string AddressText(const Model::NetworkAddress& address);

/// The severity that a health, severity or state word stands for: "absent" has none.
Model::Health HealthOf(const std::string& word);

}  // namespace Kelvar::Tool
