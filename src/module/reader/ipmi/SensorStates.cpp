#include "module/reader/ipmi/SensorStates.h"

#include <algorithm>
#include <array>
#include <span>

#include "module/reader/ipmi/SdrRecord.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Model::Health;
using Table = std::span<const SensorState>;

constexpr SensorState Ok(const char* text) {
  return {text, Health::Ok};
}
constexpr SensorState Warn(const char* text) {
  return {text, Health::Warning};
}
constexpr SensorState Crit(const char* text) {
  return {text, Health::Critical};
}
/// A state that says nothing about health: what it means is the sensor's name.
constexpr SensorState Open(const char* text) {
  return {text, Health::Unknown};
}
constexpr SensorState kReserved{};

constexpr SensorState kThresholdStates[] = {
    Warn("lower non-critical going low"),    Ok("lower non-critical going high"),
    Crit("lower critical going low"),        Ok("lower critical going high"),
    Crit("lower non-recoverable going low"), Ok("lower non-recoverable going high"),
    Ok("upper non-critical going low"),      Warn("upper non-critical going high"),
    Ok("upper critical going low"),          Crit("upper critical going high"),
    Ok("upper non-recoverable going low"),   Crit("upper non-recoverable going high"),
};

// Generic event/reading types 02 to 0C.
constexpr SensorState kUsage[] = {Ok("transition to idle"), Ok("transition to active"), Ok("transition to busy")};
constexpr SensorState kDigital[] = {Open("state deasserted"), Open("state asserted")};
constexpr SensorState kPredictive[] = {Ok("predictive failure deasserted"), Warn("predictive failure asserted")};
constexpr SensorState kLimit[] = {Ok("limit not exceeded"), Warn("limit exceeded")};
constexpr SensorState kPerformance[] = {Ok("performance met"), Warn("performance lags")};
constexpr SensorState kSeverity[] = {Ok("transition to OK"),
                                     Warn("transition to non-critical from OK"),
                                     Crit("transition to critical from less severe"),
                                     Crit("transition to non-recoverable from less severe"),
                                     Warn("transition to non-critical from more severe"),
                                     Crit("transition to critical from non-recoverable"),
                                     Crit("transition to non-recoverable"),
                                     Ok("monitor"),
                                     Ok("informational")};
constexpr SensorState kPresence[] = {Ok("device absent"), Ok("device present")};
constexpr SensorState kEnabled[] = {Ok("device disabled"), Ok("device enabled")};
constexpr SensorState kAvailability[] = {
    Ok("transition to running"),    Ok("transition to in test"),    Ok("transition to power off"),
    Ok("transition to on line"),    Ok("transition to off line"),   Ok("transition to off duty"),
    Warn("transition to degraded"), Ok("transition to power save"), Warn("install error")};
constexpr SensorState kRedundancy[] = {Ok("fully redundant"),
                                       Crit("redundancy lost"),
                                       Warn("redundancy degraded"),
                                       Warn("non-redundant: sufficient resources from redundant"),
                                       Warn("non-redundant: sufficient resources from insufficient resources"),
                                       Crit("non-redundant: insufficient resources"),
                                       Warn("redundancy degraded from fully redundant"),
                                       Warn("redundancy degraded from non-redundant")};
constexpr SensorState kDevicePower[] = {Ok("D0 power state"), Ok("D1 power state"), Ok("D2 power state"),
                                        Ok("D3 power state")};
constexpr std::array<Table, 13> kGeneric = {Table(),       Table(),      kUsage,      kDigital,  kPredictive,
                                            kLimit,        kPerformance, kSeverity,   kPresence, kEnabled,
                                            kAvailability, kRedundancy,  kDevicePower};

// States of sensor types 05 to 2C.
constexpr SensorState kIntrusion[] = {
    Crit("general chassis intrusion"), Crit("drive bay intrusion"), Crit("I/O card area intrusion"),
    Crit("processor area intrusion"),  Warn("LAN leash lost"),      Crit("unauthorized dock"),
    Crit("fan area intrusion")};
constexpr SensorState kSecurity[] = {
    Warn("secure mode violation attempt"),     Warn("user password violation"),
    Warn("setup password violation"),          Warn("network boot password violation"),
    Warn("other pre-boot password violation"), Warn("out-of-band access password violation")};
constexpr SensorState kProcessor[] = {Crit("IERR"),
                                      Crit("thermal trip"),
                                      Crit("FRB1/BIST failure"),
                                      Crit("FRB2/hang in POST failure"),
                                      Crit("FRB3/processor startup failure"),
                                      Crit("configuration error"),
                                      Crit("SM BIOS uncorrectable CPU-complex error"),
                                      Ok("processor presence detected"),
                                      Warn("processor disabled"),
                                      Ok("terminator presence detected"),
                                      Warn("processor automatically throttled"),
                                      Crit("machine check exception (uncorrectable)"),
                                      Warn("correctable machine check error")};
constexpr SensorState kPowerSupply[] = {Ok("presence detected"),
                                        Crit("power supply failure detected"),
                                        Warn("predictive failure"),
                                        Crit("power supply input lost (AC/DC)"),
                                        Crit("power supply input lost or out-of-range"),
                                        Crit("power supply input out-of-range, but present"),
                                        Crit("configuration error"),
                                        Ok("power supply inactive (in standby state)")};
constexpr SensorState kPowerUnit[] = {Ok("power off/power down"),
                                      Ok("power cycle"),
                                      Warn("240VA power down"),
                                      Warn("interlock power down"),
                                      Crit("AC lost/power input lost"),
                                      Crit("soft power control failure"),
                                      Crit("power unit failure detected"),
                                      Warn("predictive failure")};
constexpr SensorState kMemory[] = {Warn("correctable ECC"),
                                   Crit("uncorrectable ECC"),
                                   Crit("parity"),
                                   Crit("memory scrub failed (stuck bit)"),
                                   Warn("memory device disabled"),
                                   Warn("correctable ECC/other correctable memory error logging limit reached"),
                                   Ok("presence detected"),
                                   Crit("configuration error"),
                                   Ok("spare"),
                                   Warn("memory automatically throttled"),
                                   Crit("critical overtemperature")};
constexpr SensorState kDriveSlot[] = {Ok("drive presence"),
                                      Crit("drive fault"),
                                      Warn("predictive failure"),
                                      Ok("hot spare"),
                                      Ok("consistency check/parity check in progress"),
                                      Crit("in critical array"),
                                      Crit("in failed array"),
                                      Warn("rebuild/remap in progress"),
                                      Warn("rebuild/remap aborted")};
constexpr SensorState kFirmwareProgress[] = {Crit("system firmware error (POST error)"), Crit("system firmware hang"),
                                             Ok("system firmware progress")};
constexpr SensorState kEventLogging[] = {Warn("correctable memory error logging disabled"),
                                         Warn("event type logging disabled"),
                                         Ok("log area reset/cleared"),
                                         Warn("all event logging disabled"),
                                         Warn("SEL full"),
                                         Warn("SEL almost full"),
                                         Warn("correctable machine check error logging disabled")};
constexpr SensorState kWatchdog1[] = {Crit("BIOS watchdog reset"),
                                      Crit("OS watchdog reset"),
                                      Crit("OS watchdog shut down"),
                                      Crit("OS watchdog power down"),
                                      Crit("OS watchdog power cycle"),
                                      Crit("OS watchdog NMI/diagnostic interrupt"),
                                      Crit("OS watchdog expired, status only"),
                                      Warn("OS watchdog pre-timeout interrupt, non-NMI")};
constexpr SensorState kSystemEvent[] = {Ok("system reconfigured"),
                                        Ok("OEM system boot event"),
                                        Crit("undetermined system hardware failure"),
                                        Ok("entry added to auxiliary log"),
                                        Ok("PEF action"),
                                        Ok("timestamp clock synch")};
constexpr SensorState kCriticalInterrupt[] = {Crit("front panel NMI/diagnostic interrupt"),
                                              Crit("bus timeout"),
                                              Crit("I/O channel check NMI"),
                                              Crit("software NMI"),
                                              Crit("PCI PERR"),
                                              Crit("PCI SERR"),
                                              Crit("EISA fail safe timeout"),
                                              Warn("bus correctable error"),
                                              Crit("bus uncorrectable error"),
                                              Crit("fatal NMI"),
                                              Crit("bus fatal error"),
                                              Warn("bus degraded")};
constexpr SensorState kButton[] = {Ok("power button pressed"), Ok("sleep button pressed"), Ok("reset button pressed"),
                                   Ok("FRU latch open"), Ok("FRU service request button")};
constexpr SensorState kChipSet[] = {Crit("soft power control failure"), Crit("thermal trip")};
constexpr SensorState kCable[] = {Ok("cable/interconnect is connected"),
                                  Crit("configuration error - incorrect cable connected")};
constexpr SensorState kBootInitiated[] = {Ok("initiated by power up"),
                                          Ok("initiated by hard reset"),
                                          Ok("initiated by warm reset"),
                                          Ok("user requested PXE boot"),
                                          Ok("automatic boot to diagnostic"),
                                          Ok("OS/run-time software initiated hard reset"),
                                          Ok("OS/run-time software initiated warm reset"),
                                          Ok("system restart")};
constexpr SensorState kBootError[] = {Crit("no bootable media"), Warn("non-bootable diskette left in drive"),
                                      Warn("PXE server not found"), Crit("invalid boot sector"),
                                      Warn("timeout waiting for user selection of boot source")};
constexpr SensorState kBaseOsBoot[] = {Ok("A: boot completed"),
                                       Ok("C: boot completed"),
                                       Ok("PXE boot completed"),
                                       Ok("diagnostic boot completed"),
                                       Ok("CD-ROM boot completed"),
                                       Ok("ROM boot completed"),
                                       Ok("boot completed - boot device not specified"),
                                       Ok("base OS/hypervisor installation started"),
                                       Ok("base OS/hypervisor installation completed"),
                                       Warn("base OS/hypervisor installation aborted"),
                                       Crit("base OS/hypervisor installation failed")};
constexpr SensorState kOsStop[] = {Crit("critical stop during OS load/initialization"),
                                   Crit("run-time critical stop"),
                                   Ok("OS graceful stop"),
                                   Ok("OS graceful shutdown"),
                                   Ok("soft shutdown initiated by PEF"),
                                   Warn("agent not responding")};
constexpr SensorState kSlot[] = {Crit("fault status asserted"),
                                 Ok("identify status asserted"),
                                 Ok("slot/connector device installed/attached"),
                                 Ok("slot/connector ready for device installation"),
                                 Ok("slot/connector ready for device removal"),
                                 Ok("slot power is off"),
                                 Ok("slot/connector device removal request"),
                                 Ok("interlock asserted"),
                                 Warn("slot is disabled"),
                                 Ok("slot holds spare device")};
constexpr SensorState kSystemPower[] = {Ok("S0/G0 working"),
                                        Ok("S1 sleeping with system hardware and processor context maintained"),
                                        Ok("S2 sleeping, processor context lost"),
                                        Ok("S3 sleeping, processor and hardware context lost, memory retained"),
                                        Ok("S4 non-volatile sleep/suspend-to-disk"),
                                        Ok("S5/G2 soft-off"),
                                        Ok("S4/S5 soft-off, particular state cannot be determined"),
                                        Ok("G3 mechanical off"),
                                        Ok("sleeping in an S1, S2, or S3 state"),
                                        Ok("G1 sleeping"),
                                        Ok("S5 entered by override"),
                                        Ok("legacy ON state"),
                                        Ok("legacy OFF state"),
                                        kReserved,
                                        Ok("unknown")};
constexpr SensorState kWatchdog2[] = {Warn("timer expired, status only"),
                                      Crit("hard reset"),
                                      Crit("power down"),
                                      Crit("power cycle"),
                                      kReserved,
                                      kReserved,
                                      kReserved,
                                      kReserved,
                                      Warn("timer interrupt")};
constexpr SensorState kPlatformAlert[] = {Ok("platform generated page"), Ok("platform generated LAN alert"),
                                          Ok("platform event trap generated"), Ok("platform generated SNMP trap")};
constexpr SensorState kEntityPresence[] = {Ok("entity present"), Ok("entity absent"), Ok("entity disabled")};
constexpr SensorState kLan[] = {Warn("LAN heartbeat lost"), Ok("LAN heartbeat")};
constexpr SensorState kManagementHealth[] = {Warn("sensor access degraded or unavailable"),
                                             Warn("controller access degraded or unavailable"),
                                             Warn("management controller off-line"),
                                             Warn("management controller unavailable"),
                                             Warn("sensor failure"),
                                             Warn("FRU failure")};
constexpr SensorState kBattery[] = {Warn("battery low (predictive failure)"), Crit("battery failed"),
                                    Ok("battery presence detected")};
constexpr SensorState kSessionAudit[] = {Ok("session activated"), Ok("session deactivated"),
                                         Warn("invalid username or password"), Warn("invalid password disable")};
constexpr SensorState kVersionChange[] = {
    Ok("hardware change detected with associated entity"),
    Ok("firmware or software change detected with associated entity"),
    Warn("hardware incompatibility detected with associated entity"),
    Warn("firmware or software incompatibility detected with associated entity"),
    Warn("entity is of an invalid or unsupported hardware version"),
    Warn("entity contains an invalid or unsupported firmware or software version"),
    Ok("hardware change detected with associated entity was successful"),
    Ok("software or firmware change detected with associated entity was "
       "successful")};
constexpr SensorState kFruState[] = {Ok("FRU not installed"),
                                     Ok("FRU inactive"),
                                     Ok("FRU activation requested"),
                                     Ok("FRU activation in progress"),
                                     Ok("FRU active"),
                                     Ok("FRU deactivation requested"),
                                     Ok("FRU deactivation in progress"),
                                     Warn("FRU communication lost")};

struct SensorType {
  const char* name = nullptr;
  Table states;
};

/// By sensor type.
constexpr std::array<SensorType, 45> kSensorTypes = {{
    {nullptr, {}},
    {"temperature", {}},
    {"voltage", {}},
    {"current", {}},
    {"fan", {}},
    {"physical security", kIntrusion},
    {"platform security", kSecurity},
    {"processor", kProcessor},
    {"power supply", kPowerSupply},
    {"power unit", kPowerUnit},
    {"cooling device", {}},
    {"other units-based sensor", {}},
    {"memory", kMemory},
    {"drive slot", kDriveSlot},
    {"POST memory resize", {}},
    {"system firmware progress", kFirmwareProgress},
    {"event logging disabled", kEventLogging},
    {"watchdog 1", kWatchdog1},
    {"system event", kSystemEvent},
    {"critical interrupt", kCriticalInterrupt},
    {"button/switch", kButton},
    {"module/board", {}},
    {"microcontroller/coprocessor", {}},
    {"add-in card", {}},
    {"chassis", {}},
    {"chip set", kChipSet},
    {"other FRU", {}},
    {"cable/interconnect", kCable},
    {"terminator", {}},
    {"system boot/restart initiated", kBootInitiated},
    {"boot error", kBootError},
    {"base OS boot/installation status", kBaseOsBoot},
    {"OS stop/shutdown", kOsStop},
    {"slot/connector", kSlot},
    {"system ACPI power state", kSystemPower},
    {"watchdog 2", kWatchdog2},
    {"platform alert", kPlatformAlert},
    {"entity presence", kEntityPresence},
    {"monitor ASIC/IC", {}},
    {"LAN", kLan},
    {"management subsystem health", kManagementHealth},
    {"battery", kBattery},
    {"session audit", kSessionAudit},
    {"version change", kVersionChange},
    {"FRU state", kFruState},
}};

Table TableOf(u8 eventType, u8 sensorType) noexcept {
  if (eventType == kSensorSpecificEvents) {
    return sensorType < kSensorTypes.size() ? kSensorTypes[sensorType].states : Table();
  }
  return eventType < kGeneric.size() ? kGeneric[eventType] : Table();
}

SensorState At(Table table, unsigned offset) noexcept {
  return offset < table.size() ? table[offset] : SensorState();
}

}  // namespace

SensorState StateOf(u8 eventType, u8 sensorType, unsigned offset) noexcept {
  return At(TableOf(eventType, sensorType), offset);
}

SensorState ThresholdEventOf(unsigned offset) noexcept {
  return At(kThresholdStates, offset);
}

const char* SensorTypeName(u8 sensorType) noexcept {
  return sensorType < kSensorTypes.size() ? kSensorTypes[sensorType].name : nullptr;
}

DiscreteStates DecodeStates(u8 eventType, u8 sensorType, u16 bits) {
  constexpr unsigned kStates = 15;
  DiscreteStates states;
  const Table table = TableOf(eventType, sensorType);
  const auto tells = [](const SensorState& state) { return state.severity != Health::Unknown; };
  if (std::any_of(table.begin(), table.end(), tells)) {
    states.health = Health::Ok;
  }
  for (unsigned offset = 0; offset < kStates; ++offset) {
    if ((bits & (1U << offset)) == 0) {
      continue;
    }
    const SensorState state = At(table, offset);
    states.words.push_back(state.text != nullptr ? state.text : "state " + std::to_string(offset));
    states.health = std::max(states.health, state.severity);
  }
  return states;
}

Health HealthOfCrossed(u8 bits) noexcept {
  constexpr u8 kCritical =
      1U << kLowerCritical | 1U << kLowerNonRecoverable | 1U << kUpperCritical | 1U << kUpperNonRecoverable;
  constexpr u8 kCaution = 1U << kLowerNonCritical | 1U << kUpperNonCritical;
  if ((bits & kCritical) != 0) {
    return Health::Critical;
  }
  return (bits & kCaution) != 0 ? Health::Warning : Health::Ok;
}

}  // namespace Kelvar::Reader::Ipmi
