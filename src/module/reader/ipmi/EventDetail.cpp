#include "module/reader/ipmi/EventDetail.h"

#include <array>
#include <span>

#include "module/reader/ipmi/SelRecord.h"
#include "module/reader/ipmi/SensorStates.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::array<const char*, 5> kSupplyErrors = {"vendor mismatch", "revision mismatch", "processor missing",
                                                      "power supply rating mismatch", "voltage rating mismatch"};

constexpr std::array<const char*, 14> kPostErrors = {"unspecified",
                                                     "no system memory is physically installed",
                                                     "no usable system memory",
                                                     "unrecoverable hard disk failure",
                                                     "unrecoverable system board failure",
                                                     "unrecoverable diskette subsystem failure",
                                                     "unrecoverable hard disk controller failure",
                                                     "unrecoverable PS/2 or USB keyboard failure",
                                                     "removable boot media not found",
                                                     "unrecoverable video controller failure",
                                                     "no video device detected",
                                                     "firmware ROM corruption detected",
                                                     "CPU voltage mismatch",
                                                     "CPU speed matching failure"};

constexpr std::array<const char*, 27> kProgress = {"unspecified",
                                                   "memory initialization",
                                                   "hard disk initialization",
                                                   "secondary processor initialization",
                                                   "user authentication",
                                                   "user-initiated system setup",
                                                   "USB resource configuration",
                                                   "PCI resource configuration",
                                                   "option ROM initialization",
                                                   "video initialization",
                                                   "cache initialization",
                                                   "SM bus initialization",
                                                   "keyboard controller initialization",
                                                   "embedded controller/management controller initialization",
                                                   "docking station attachment",
                                                   "enabling docking station",
                                                   "docking station ejection",
                                                   "disabling docking station",
                                                   "calling operating system wake-up vector",
                                                   "starting operating system boot process",
                                                   "baseboard or motherboard initialization",
                                                   nullptr,
                                                   "floppy initialization",
                                                   "keyboard test",
                                                   "pointing device test",
                                                   "primary processor initialization",
                                                   nullptr};

constexpr std::array<const char*, 12> kRestartCauses = {"unknown",
                                                        "chassis control command",
                                                        "reset by push button",
                                                        "power-up by power button",
                                                        "watchdog expiration",
                                                        "OEM",
                                                        "power-up always restore policy",
                                                        "power-up restore previous state policy",
                                                        "reset by PEF",
                                                        "power cycle by PEF",
                                                        "soft reset",
                                                        "power-up by real time clock"};

constexpr std::array<const char*, 6> kTimerUses = {nullptr, "BIOS FRB2", "BIOS/POST", "OS load", "SMS/OS", "OEM"};

std::string Word(std::span<const char* const> words, unsigned index) {
  return index < words.size() && words[index] != nullptr ? words[index] : "";
}

std::string Numbered(const char* word, unsigned number) {
  return word + (" " + std::to_string(number));
}

/// The meaning of event data 2; empty without one.
std::string SecondByte(const SelEvent& event) {
  const unsigned value = event.data[1];
  switch (static_cast<unsigned>(event.sensorType) << 8 | event.Offset()) {
    case 0x0F00:
      return Word(kPostErrors, value);
    case 0x0F01:
    case 0x0F02:
      return Word(kProgress, value);
    case 0x1D07:
      return Word(kRestartCauses, value & 0x0F);
    case 0x1000:
      return Numbered("memory module", value);
    case 0x2804:
      return Numbered("sensor", value);
    case 0x2805:
      return Numbered("FRU device", value);
    case 0x0504:
      return Numbered("network controller", value);
    default:
      break;
  }
  if (event.sensorType == 0x23) {
    const std::string use = Word(kTimerUses, value & 0x0F);
    return use.empty() ? use : "timer use " + use;
  }
  return event.sensorType == 0x2A ? Numbered("user", value & 0x3F) : std::string();
}

/// The meaning of event data 3; empty without one.
std::string ThirdByte(const SelEvent& event) {
  const unsigned value = event.data[2];
  switch (event.sensorType) {
    case 0x08:
      return event.Offset() == 6 ? Word(kSupplyErrors, value & 0x0F) : std::string();
    case 0x0C:
      return Numbered("memory module", value);
    case 0x10:
      return event.Offset() == 5 ? std::to_string(value) + " % full" : std::string();
    case 0x21:
      return Numbered("slot", value);
    case 0x2A:
      return Numbered("channel", value & 0x0F);
    default:
      return {};
  }
}

bool HasPreviousState(const SelEvent& event) noexcept {
  constexpr u8 kPreviousState = 1;
  return event.eventType != kThresholdEvents && (event.data[0] >> 6) == kPreviousState;
}

}  // namespace

Model::Health SeverityOf(const SelEvent& event) noexcept {
  constexpr u8 kSeverities = 0x07;  // the event type whose offsets they are
  return HasPreviousState(event) ? StateOf(kSeverities, 0, event.data[1] >> 4U).severity : Model::Health::Unknown;
}

std::string DiscreteDetail(const SelEvent& event) {
  constexpr u8 kSensorSpecific = 3;
  if (HasPreviousState(event)) {
    const SensorState before = StateOf(event.eventType, event.sensorType, event.data[1] & 0x0F);
    return before.text != nullptr ? std::string("before: ") + before.text : std::string();
  }
  if (event.eventType != kSensorSpecificEvents) {
    return {};
  }
  std::string text = (event.data[0] >> 6) == kSensorSpecific ? SecondByte(event) : std::string();
  const std::string third = ((event.data[0] >> 4) & 0x03) == kSensorSpecific ? ThirdByte(event) : std::string();
  return text + (text.empty() || third.empty() ? "" : ", ") + third;
}

}  // namespace Kelvar::Reader::Ipmi
