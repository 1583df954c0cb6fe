#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "module/reader/ipmi/SensorConversion.h"
#include "transport/ipmi/AddressedCommands.h"

namespace Kelvar::Reader::Ipmi {

/// Entity ID and instance. An instance from 0x60 on counts within its controller.
struct EntityKey {
  u8 id = 0;
  u8 instance = 0;
  u8 controller = 0;  ///< address of the one that the instance counts within; 0 where it counts within the system
  bool operator==(const EntityKey&) const = default;
  bool operator<(const EntityKey& other) const noexcept {
    return std::tie(id, instance, controller) < std::tie(other.id, other.instance, other.controller);
  }
};

/// What names a sensor: the address of its owner, the owner's channel and LUN, and its number there.
struct SensorKey {
  u8 owner = 0;
  u8 channel = 0;
  u8 lun = 0;
  u8 number = 0;
  bool operator==(const SensorKey&) const = default;
  bool operator<(const SensorKey& other) const noexcept {
    return std::tie(owner, channel, lun, number) < std::tie(other.owner, other.channel, other.lun, other.number);
  }
  /// System software owns it, not a controller: it has events and no reading.
  bool IsSoftware() const noexcept { return (owner & 1) != 0; }
  /// Where it is read.
  Kelvar::Ipmi::ControllerAddress Place() const noexcept {
    return owner == Kelvar::Ipmi::kServiceProcessor ? Kelvar::Ipmi::ControllerAddress{owner, 0, lun}
                                                    : Kelvar::Ipmi::ControllerAddress{owner, channel, lun};
  }
};

/// Order of bits in masks of thresholds and in readings, and of values in Get Sensor Thresholds.
enum Threshold : u8 {
  kLowerNonCritical,
  kLowerCritical,
  kLowerNonRecoverable,
  kUpperNonCritical,
  kUpperCritical,
  kUpperNonRecoverable
};
constexpr std::size_t kThresholdCount = 6;

constexpr u8 kThresholdEvents = 0x01;  ///< event/reading type of a sensor with thresholds
constexpr u8 kSensorSpecificEvents = 0x6F;

/// One sensor of a full, compact or event-only record. Records that several sensors share are expanded.
struct SensorRecord {
  u8 recordType = 0;
  SensorKey key;
  EntityKey entity;
  u8 sensorType = 0;
  u8 eventType = 0;
  UnitFields units;
  std::string name;
  std::optional<ConversionFactors> factors;  ///< full records alone
  u8 readableThresholds = 0;                 ///< a bit for each Threshold that the sensor can be asked for
  bool thresholdsAreInitial = true;          ///< the sensor is set to the values below when it starts
  bool thresholdsAreSettable = false;        ///< software may set others
  std::array<u8, kThresholdCount> thresholds{};
  u8 positiveHysteresis = 0;  ///< raw, of upper thresholds
  u8 negativeHysteresis = 0;
  std::optional<u8> rangeMin;  ///< raw
  std::optional<u8> rangeMax;

  bool HasThresholds() const noexcept { return eventType == kThresholdEvents; }
  bool IsEventOnly() const noexcept { return recordType == 3; }
  /// Whether the byte of a reading is a number with a unit.
  bool IsNumeric() const noexcept;
};

/// Where the data of a field-replaceable unit are read.
struct FruLocator {
  u8 accessAddress = 0;
  u8 fruId = 0;  ///< of a logical device; the slave address of an EEPROM else
  bool logical = false;
  u8 lun = 0;
  u8 bus = 0;  ///< of an EEPROM: a private one of its controller
  u8 channel = 0;
  EntityKey entity;
  std::string name;
};

struct ControllerLocator {
  u8 address = 0;
  u8 channel = 0;
  u8 capabilities = 0;
  EntityKey entity;
  std::string name;
  bool HasFru() const noexcept { return (capabilities & 0x08) != 0; }
  bool HasSensors() const noexcept { return (capabilities & 0x01) != 0; }
};

/// Entities within an entity; ranges are expanded.
struct EntityAssociation {
  EntityKey container;
  std::vector<EntityKey> contained;
};

/// A record of another type: a manufacturer's own, or one that holds nothing of an inventory.
struct OtherRecord {
  u8 type = 0;
};

struct SdrRecord {
  u16 id = 0;
  std::variant<OtherRecord, std::vector<SensorRecord>, FruLocator, ControllerLocator, EntityAssociation> body;
};

/// A whole record, header included. Nothing for one that is shorter than its type requires; bytes that its header does
/// not count are left alone.
std::optional<SdrRecord> ParseSdrRecord(std::span<const u8> bytes);

}  // namespace Kelvar::Reader::Ipmi
