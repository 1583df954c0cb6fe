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
/// What a target does not report is absent: an empty optional, an empty text, an empty list; never 0 or a placeholder.
/// Fixed values are DMTF's words in lower case. Times are ISO 8601 with a zone ("2026-03-20T08:15:00Z"). An `id` is
/// unique within its list and stable between readings of the same machine; `parent`, `component`, `log` and `owner`
/// hold such ids.
namespace Kelvar::Model {

/// The parts of an inventory, in the order in which everything shows them.
enum class Family : u8 { System, Firmware, Components, Sensors, Leds, Logs, Network };
inline constexpr std::size_t kFamilyCount = 7;  ///< how many there are
/// All of them, in order.
inline constexpr std::array<Family, kFamilyCount> kAllFamilies = {
    Family::System, Family::Firmware, Family::Components, Family::Sensors, Family::Leds, Family::Logs, Family::Network};

/// "system", "firmware", "components", "sensors", "leds", "logs", "network". Never null.
KELVAR_EXPORT const char* NameOf(Family family) noexcept;

/// Health, from unknown to the worst.
enum class Health : u8 { Unknown, Ok, Warning, Critical };
/// "unknown", "ok", "warning", "critical". Never null.
KELVAR_EXPORT const char* NameOf(Health health) noexcept;

/// A text that is absent when empty.
using Text = std::string;

/// `state` is DMTF's resource state in lower case with words joined by "_" ("enabled", "standby_offline", "absent");
/// `health` is "ok", "warning" or "critical". `health_text` is the target's own word where it says more.
struct System {
  Text id;                               ///< see the namespace
  Text kind;                             ///< "system", "manager" or "chassis"
  Text name;                             ///< as the target names it
  Text manufacturer;                     ///< who made it
  Text model;                            ///< model, as the manufacturer writes it
  Text part_number;                      ///< of the manufacturer
  Text sku;                              ///< stock-keeping unit, to order it by
  Text serial_number;                    ///< of the manufacturer
  Text asset_tag;                        ///< of the owner
  Text uuid;                             ///< RFC 4122, lower case
  Text host_name;                        ///< without a domain, as the target reports it
  Text bios_version;                     ///< systems
  Text firmware_version;                 ///< of the firmware that runs on it
  Text power_state;                      ///< "on", "off", "powering_on", "powering_off", "paused"
  Text state;                            ///< DMTF's resource state
  Text health;                           ///< "ok", "warning" or "critical"
  Text health_text;                      ///< the target's own word where it says more
  Text last_reset_time;                  ///< ISO 8601
  std::optional<double> uptime_seconds;  ///< since the last start
};

/// A piece of firmware or software.
struct Firmware {
  Text id;                         ///< see the namespace
  Text name;                       ///< as the target names it
  Text kind;                       ///< "bios", "bmc", "cpld", "nic", "drive", "psu", "gpu", "driver" or "other"
  Text version;                    ///< as the manufacturer writes it
  Text date;                       ///< ISO 8601
  Text bank;                       ///< "primary" or "backup"
  std::optional<bool> updateable;  ///< whether it can be updated through the target
  Text state;                      ///< DMTF's resource state
  Text component;                  ///< id of the component that runs it
};

/// A part of the machine.
struct Component {
  Text id;      ///< see the namespace
  Text parent;  ///< id of the component or system that holds it
  /// "chassis", "board", "processor", "memory", "drive", "storage_controller", "network_adapter", "pcie_device", "gpu",
  /// "power_supply", "fan", "battery", "backplane" or "other"
  Text kind;
  Text name;                          ///< as the target names it
  Text location;                      ///< slot or place, as the target reports it
  Text manufacturer;                  ///< who made it
  Text model;                         ///< model, as the manufacturer writes it
  Text part_number;                   ///< of the manufacturer
  Text spare_part_number;             ///< of the spare part
  Text serial_number;                 ///< of the manufacturer
  Text asset_tag;                     ///< of the owner
  Text firmware_version;              ///< of the firmware that runs on it
  Text state;                         ///< DMTF's resource state
  Text health;                        ///< "ok", "warning" or "critical"
  Text health_text;                   ///< the target's own word where it says more
  std::optional<u64> capacity_bytes;  ///< memory, drives
  std::optional<double> speed_mhz;    ///< processors, memory
  std::optional<double> speed_mbps;   ///< ports of network adapters, links of drives
  std::optional<u32> cores;           ///< processors
  std::optional<u32> threads;         ///< processors
  Text media;                         ///< drives: "hdd", "ssd", "smr"; memory: its device type such as "ddr5"
  Text protocol;                      ///< drives and controllers: "nvme", "sata", "sas", ...
  std::optional<double> predicted_life_left_percent;  ///< drives
  std::optional<double> power_capacity_watts;         ///< power supplies
  Text mac_address;                                   ///< lower case with colons
};

/// A sensor: numeric, or discrete with states.
struct Sensor {
  Text id;    ///< see the namespace
  Text name;  ///< as the target names it
  /// "temperature", "fan", "voltage", "current", "power", "energy", "humidity", "utilization", "frequency",
  /// "pressure", "altitude", "percent", "discrete" or "other"
  Text kind;
  std::optional<double> reading;         ///< in `unit`
  Text unit;                             ///< UCUM: "Cel", "V", "A", "W", "J", "%", "{rev}/min", "Hz", "Pa", "m"
  std::optional<double> lower_fatal;     ///< in `unit`
  std::optional<double> lower_critical;  ///< in `unit`
  std::optional<double> lower_caution;   ///< in `unit`
  std::optional<double> upper_caution;   ///< in `unit`
  std::optional<double> upper_critical;  ///< in `unit`
  std::optional<double> upper_fatal;     ///< in `unit`
  std::optional<double> range_min;       ///< lowest possible reading
  std::optional<double> range_max;       ///< highest possible reading
  Text state;                            ///< DMTF's resource state
  Text health;                           ///< "ok", "warning" or "critical"
  Text health_text;                      ///< the target's own word where it says more
  Text context;  ///< what it measures, DMTF's physical context in lower case: "intake", "cpu", "system_board"
  Text parent;   ///< id of the component or system that it belongs to
  std::vector<Text> states;  ///< discrete sensors: what is asserted, as words
};

/// An indicator LED.
struct Led {
  Text id;       ///< see the namespace
  Text name;     ///< as the target names it
  Text parent;   ///< id of the component or system that it belongs to
  Text purpose;  ///< "locate", "health" or "other"
  Text state;    ///< "off", "lit", "blinking" or "unknown"
};

/// An entry of a log.
struct LogEntry {
  Text log;                      ///< id of its log, such as "Systems/1/LogServices/IML"
  Text id;                       ///< see the namespace
  Text created;                  ///< ISO 8601 with zone; absent when the target's clock was not set
  Text severity;                 ///< "ok", "warning", "critical" or "unknown"
  Text message;                  ///< for people
  Text message_id;               ///< of its registry
  std::vector<Text> arguments;   ///< of the message
  Text source;                   ///< sensor or component that it is about
  std::optional<bool> resolved;  ///< whether the target says so
};

/// An address of an interface.
struct NetworkAddress {
  Text address;                      ///< IPv4 or IPv6
  std::optional<u32> prefix_length;  ///< bits of the network
  Text family;                       ///< "ipv4" or "ipv6"
  Text origin;                       ///< "static", "dhcp", "dhcpv6", "slaac", "link_local", "bios" or "other"
  Text gateway;                      ///< of the address
};

/// A network interface of the service processor or of the host.
struct NetworkInterface {
  Text owner;                             ///< "manager" or "system"
  Text id;                                ///< see the namespace
  Text name;                              ///< as the target names it
  Text mac_address;                       ///< lower case with colons
  Text link;                              ///< "up", "down" or "no_link"
  std::optional<double> speed_mbps;       ///< of the link
  std::optional<u32> vlan;                ///< VLAN id
  Text host_name;                         ///< without a domain, as the target reports it
  Text fqdn;                              ///< fully qualified name
  std::optional<bool> dhcp;               ///< whether addresses come by DHCP
  std::vector<NetworkAddress> addresses;  ///< of all families
  std::vector<Text> name_servers;         ///< their addresses
};

/// A network service of the service processor.
struct NetworkService {
  Text name;                    ///< in lower case: "https", "ssh", "ipmi", "snmp", "ntp"
  std::optional<bool> enabled;  ///< whether it runs
  std::optional<u32> port;      ///< TCP or UDP
  /// IPMI over LAN: the cipher suites that it offers, by number: "0", "3", "17", "128 of manufacturer 65100". Suite 0
  /// needs no password. Empty when the target does not report them, and over other protocols.
  std::vector<Text> cipher_suites{};
};

/// How a family was read.
enum class FamilyStatus : u8 {
  NotAsked,  ///< was not among the families that were asked for
  Complete,  ///< all that the target has
  Partial,   ///< some of it; `gaps` of the diagnostics name what is missing
  Absent,    ///< the target has none
  Failed,    ///< nothing could be read; `cause` has the reason
};
/// "not_asked", "complete", "partial", "absent", "failed". Never null.
KELVAR_EXPORT const char* NameOf(FamilyStatus status) noexcept;

/// How one family was read, and why it is not complete.
struct FamilyResult {
  FamilyStatus status = FamilyStatus::NotAsked;  ///< see FamilyStatus
  FailureCause cause = FailureCause::None;       ///< of a failure
  Text reason;  ///< for people, one line without control characters; empty when complete
};

/// All records of one machine.
struct Inventory {
  Text protocol;                                     ///< "redfish", "cim" or "ipmi"
  std::array<FamilyResult, kFamilyCount> results;    ///< how each family was read, by its number
  std::vector<System> systems;                       ///< of family System
  std::vector<Firmware> firmware;                    ///< of family Firmware
  std::vector<Component> components;                 ///< of family Components
  std::vector<Sensor> sensors;                       ///< of family Sensors
  std::vector<Led> leds;                             ///< of family Leds
  std::vector<LogEntry> log_entries;                 ///< of family Logs
  std::vector<NetworkInterface> network_interfaces;  ///< of family Network
  std::vector<NetworkService> network_services;      ///< of family Network

  /// How a family was read.
  const FamilyResult& ResultOf(Family family) const { return results[static_cast<std::size_t>(family)]; }
  /// The same, to be changed.
  FamilyResult& ResultOf(Family family) { return results[static_cast<std::size_t>(family)]; }
};

/// The worse of a sensor's own health and of its reading compared with its limits; its own health where it is offline.
/// Unknown for a sensor that is absent or disabled, and when it has neither. Any thread.
KELVAR_EXPORT Health HealthOf(const Sensor& sensor);

/// One reason of a verdict, for people.
struct VerdictReason {
  Health health = Health::Unknown;  ///< "ok", "warning" or "critical"
  Text family;  ///< "sensors", "components", "logs", "system"; of what could not be read, its family
  Text id;      ///< id of the record; empty for what could not be read
  Text text;    ///< such as "Fan 3 Tach 0 rpm, below 1200"
};

/// The verdict on a machine.
struct Verdict {
  Health health = Health::Unknown;     ///< the worst of all reasons; Ok when something was read and nothing is wrong
  std::vector<VerdictReason> reasons;  ///< worst first
};

/// Reasons are systems, components and sensors that are not ok, sensors beyond their limits, critical log entries that
/// the target says are not resolved, and what could not be read. Absent components do not count. Health is Unknown when
/// nothing is known to be wrong and one of systems, components and sensors failed or ended early (cause Deadline or
/// Unreachable), or none of them was read. Makes no request; any thread.
KELVAR_EXPORT Verdict Judge(const Inventory& inventory);

}  // namespace Kelvar::Model
