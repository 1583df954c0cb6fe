#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <kelvar/Diagnostics.h>
#include <kelvar/Export.h>
#include <kelvar/Types.h>

/// The inventory of one machine, the same over every protocol and for every manufacturer: plain values.
///
/// What a target does not tell is absent: an empty optional, an empty text, an empty list; never 0 or a placeholder.
/// Words are DMTF's in lower case. Times are ISO 8601 with a zone ("2026-03-20T08:15:00Z"). An `id` is unique within
/// its list and stable between readings of the same machine; `parent`, `component`, `log` and `owner` hold such ids.
namespace Kelvar::Model {

/// The parts of an inventory, in the order in which everything shows them.
enum class Family : u8 { System, Firmware, Components, Sensors, Leds, Logs, Network };
inline constexpr std::size_t kFamilyCount = 7;
inline constexpr std::array<Family, kFamilyCount> kAllFamilies = {
    Family::System, Family::Firmware, Family::Components, Family::Sensors, Family::Leds, Family::Logs, Family::Network};

/// "system", "firmware", "components", "sensors", "leds", "logs", "network". Never null.
KELVAR_EXPORT const char* NameOf(Family family) noexcept;

enum class Health : u8 { Unknown, Ok, Warning, Critical };
/// "unknown", "ok", "warning", "critical". Never null.
KELVAR_EXPORT const char* NameOf(Health health) noexcept;

/// A text that is absent when empty.
using Text = std::string;

/// `state` is DMTF's resource state in lower case with words joined by "_" ("enabled", "standby_offline", "absent");
/// `health` is "ok", "warning" or "critical". `health_text` is the target's own word where it says more.
struct System {
  Text id;
  Text kind;  ///< "system", "manager" or "chassis"
  Text name;
  Text manufacturer;
  Text model;
  Text part_number;
  Text sku;
  Text serial_number;
  Text asset_tag;
  Text uuid;  ///< RFC 4122, lower case
  Text host_name;
  Text bios_version;
  Text firmware_version;
  Text power_state;  ///< "on", "off", "powering_on", "powering_off", "paused"
  Text state;
  Text health;
  Text health_text;
  Text last_reset_time;  ///< ISO 8601
  std::optional<double> uptime_seconds;
};

struct Firmware {
  Text id;
  Text name;
  Text kind;  ///< "bios", "bmc", "cpld", "nic", "drive", "psu", "gpu", "driver" or "other"
  Text version;
  Text date;  ///< ISO 8601
  Text bank;  ///< "primary" or "backup"
  std::optional<bool> updateable;
  Text state;
  Text component;  ///< id of the component that runs it
};

struct Component {
  Text id;
  Text parent;  ///< id of the component or system that holds it
  /// "chassis", "board", "processor", "memory", "drive", "storage_controller", "network_adapter", "pcie_device", "gpu",
  /// "power_supply", "fan", "battery", "backplane" or "other"
  Text kind;
  Text name;
  Text location;
  Text manufacturer;
  Text model;
  Text part_number;
  Text spare_part_number;
  Text serial_number;
  Text asset_tag;
  Text firmware_version;
  Text state;
  Text health;
  Text health_text;
  std::optional<u64> capacity_bytes;
  std::optional<double> speed_mhz;   ///< processors, memory
  std::optional<double> speed_mbps;  ///< ports of network adapters, links of drives
  std::optional<u32> cores;
  std::optional<u32> threads;
  Text media;     ///< drives: "hdd", "ssd", "smr"; memory: its device type such as "ddr5"
  Text protocol;  ///< drives and controllers: "nvme", "sata", "sas", ...
  std::optional<double> predicted_life_left_percent;
  std::optional<double> power_capacity_watts;
  Text mac_address;  ///< lower case with colons
};

struct Sensor {
  Text id;
  Text name;
  /// "temperature", "fan", "voltage", "current", "power", "energy", "humidity", "utilization", "frequency",
  /// "pressure", "altitude", "percent", "discrete" or "other"
  Text kind;
  std::optional<double> reading;
  Text unit;  ///< UCUM: "Cel", "V", "A", "W", "J", "%", "{rev}/min", "Hz", "Pa", "m"
  std::optional<double> lower_fatal;
  std::optional<double> lower_critical;
  std::optional<double> lower_caution;
  std::optional<double> upper_caution;
  std::optional<double> upper_critical;
  std::optional<double> upper_fatal;
  std::optional<double> range_min;
  std::optional<double> range_max;
  Text state;
  Text health;
  Text health_text;
  Text context;  ///< what it measures, DMTF's physical context in lower case: "intake", "cpu", "system_board"
  Text parent;   ///< id of the component or system that it belongs to
  std::vector<Text> states;  ///< discrete sensors: what is asserted, as words
};

struct Led {
  Text id;
  Text name;
  Text parent;
  Text purpose;  ///< "locate", "health" or "other"
  Text state;    ///< "off", "lit", "blinking" or "unknown"
};

struct LogEntry {
  Text log;  ///< id of its log, such as "Systems/1/LogServices/IML"
  Text id;
  Text created;   ///< ISO 8601 with zone; absent when the target's clock was not set
  Text severity;  ///< "ok", "warning", "critical" or "unknown"
  Text message;
  Text message_id;
  std::vector<Text> arguments;
  Text source;  ///< sensor or component that it is about
  std::optional<bool> resolved;
};

struct NetworkAddress {
  Text address;
  std::optional<u32> prefix_length;
  Text family;  ///< "ipv4" or "ipv6"
  Text origin;  ///< "static", "dhcp", "dhcpv6", "slaac", "link_local", "bios" or "other"
  Text gateway;
};

struct NetworkInterface {
  Text owner;  ///< "manager" or "system"
  Text id;
  Text name;
  Text mac_address;
  Text link;  ///< "up", "down" or "no_link"
  std::optional<double> speed_mbps;
  std::optional<u32> vlan;
  Text host_name;
  Text fqdn;
  std::optional<bool> dhcp;
  std::vector<NetworkAddress> addresses;
  std::vector<Text> name_servers;
};

struct NetworkService {
  Text name;  ///< in lower case: "https", "ssh", "ipmi", "snmp", "ntp"
  std::optional<bool> enabled;
  std::optional<u32> port;
};

/// How a family was read.
enum class FamilyStatus : u8 {
  NotAsked,  ///< was not among the families that were asked for
  Complete,  ///< all that the target has
  Partial,   ///< some of it; `gaps` of the diagnostics name what is missing
  Absent,    ///< the service was understood and has none
  Failed,    ///< nothing could be read; `cause` tells why
};
/// "not_asked", "complete", "partial", "absent", "failed". Never null.
KELVAR_EXPORT const char* NameOf(FamilyStatus status) noexcept;

struct FamilyResult {
  FamilyStatus status = FamilyStatus::NotAsked;
  FailureCause cause = FailureCause::None;
  Text reason;  ///< for people, one line without control characters; empty when complete
};

/// All records of one machine.
struct Inventory {
  Text protocol;  ///< "redfish", "cim" or "ipmi"
  std::array<FamilyResult, kFamilyCount> results;
  std::vector<System> systems;
  std::vector<Firmware> firmware;
  std::vector<Component> components;
  std::vector<Sensor> sensors;
  std::vector<Led> leds;
  std::vector<LogEntry> log_entries;
  std::vector<NetworkInterface> network_interfaces;
  std::vector<NetworkService> network_services;

  const FamilyResult& ResultOf(Family family) const { return results[static_cast<std::size_t>(family)]; }
  FamilyResult& ResultOf(Family family) { return results[static_cast<std::size_t>(family)]; }
};

/// One reason of a verdict, for people.
struct VerdictReason {
  Health health = Health::Unknown;
  Text family;  ///< "sensors", "components", "logs", "system"; of what could not be read, its family
  Text id;      ///< id of the record; empty for what could not be read
  Text text;    ///< such as "Fan 3 Tach 0 rpm, below 1200"
};

/// What an inventory says of the machine.
struct Verdict {
  Health health = Health::Unknown;     ///< the worst of all reasons; Ok when something was read and nothing is wrong
  std::vector<VerdictReason> reasons;  ///< worst first
};

/// Worst health, sensors out of range or not ok, components not ok, critical log entries that the target says are not
/// resolved, and what could not be read. What is absent has no say. Health is Unknown when neither systems, components
/// nor sensors could be read. Makes no request.
KELVAR_EXPORT Verdict Judge(const Inventory& inventory);

}  // namespace Kelvar::Model
