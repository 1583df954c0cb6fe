#include "module/reader/ipmi/SdrRecord.h"

#include <algorithm>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/TypedText.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Text::ByteReader;

constexpr std::size_t kHeaderSize = 5;
constexpr u8 kFirstRelative = 0x60;  ///< instance of an entity

/// The type/length byte and the text that follows; what a record is too short for is left out.
std::string ReadName(ByteReader& reader) {
  const u8 typeLength = reader.U8();
  const std::size_t length = std::min<std::size_t>(typeLength & 0x1F, reader.Remaining());
  return DecodeRecordName(TextTypeOf(typeLength), reader.Bytes(length));
}

/// `controller`: the address of the one that tells of the entity.
EntityKey ReadEntity(ByteReader& reader, u8 controller) {
  EntityKey entity;
  entity.id = reader.U8();
  entity.instance = reader.U8() & 0x7F;
  entity.controller = entity.instance < kFirstRelative ? u8{0} : controller;
  return entity;
}

SensorKey ReadSensorKey(ByteReader& reader) {
  SensorKey key;
  key.owner = reader.U8();
  const u8 place = reader.U8();
  key.channel = place >> 4;
  key.lun = place & 0x03;
  key.number = reader.U8();
  return key;
}

void ReadConversion(ByteReader& reader, SensorRecord& sensor) {
  const u8 linearisation = reader.U8();
  const auto factors = reader.Bytes(6);
  if (factors.size() == 6) {
    sensor.factors = ParseFactors(linearisation, factors.first<6>());
  }
  reader.Skip(4);  // analog flags, nominal reading, normal maximum and minimum
  const u8 max = reader.U8();
  const u8 min = reader.U8();
  if (max != min) {
    sensor.rangeMax = max;
    sensor.rangeMin = min;
  }
  for (const Threshold threshold : {kUpperNonRecoverable, kUpperCritical, kUpperNonCritical, kLowerNonRecoverable,
                                    kLowerCritical, kLowerNonCritical}) {
    sensor.thresholds[threshold] = reader.U8();
  }
}

/// What full and compact records have alike, up to the unit bytes.
SensorRecord ReadSensorStart(ByteReader& reader, u8 recordType) {
  SensorRecord sensor;
  sensor.recordType = recordType;
  sensor.key = ReadSensorKey(reader);
  sensor.entity = ReadEntity(reader, sensor.key.owner);
  constexpr u8 kInitThresholds = 0x10;
  sensor.thresholdsAreInitial = (reader.U8() & kInitThresholds) != 0;
  constexpr u8 kReadable = 1;
  constexpr u8 kReadableAndSettable = 2;
  const u8 thresholdAccess = (reader.U8() >> 2) & 0x03;
  sensor.sensorType = reader.U8();
  sensor.eventType = reader.U8() & 0x7F;
  reader.Skip(4);  // masks of assertions and deassertions
  const u8 readable = reader.U8();
  reader.Skip(1);
  // Access 0: no thresholds; 3: fixed, the values of the record have no meaning.
  sensor.thresholdsAreSettable = thresholdAccess == kReadableAndSettable;
  const bool readableAccess = thresholdAccess == kReadable || sensor.thresholdsAreSettable;
  sensor.readableThresholds = sensor.HasThresholds() && readableAccess ? readable & 0x3F : 0;
  sensor.units = {reader.U8(), reader.U8(), reader.U8()};
  return sensor;
}

SensorRecord ReadFull(ByteReader& reader) {
  SensorRecord sensor = ReadSensorStart(reader, 1);
  ReadConversion(reader, sensor);
  sensor.positiveHysteresis = reader.U8();
  sensor.negativeHysteresis = reader.U8();
  reader.Skip(3);  // reserved, manufacturer's byte
  sensor.name = ReadName(reader);
  return sensor;
}

/// How the sensors of a shared record differ.
struct Sharing {
  unsigned count = 1;
  bool letters = false;
  bool entitiesCount = false;
  unsigned offset = 0;
};

Sharing ReadSharing(ByteReader& reader) {
  const u8 first = reader.U8();
  const u8 second = reader.U8();
  Sharing sharing;
  sharing.count = std::max(1U, first & 0x0FU);
  sharing.letters = ((first >> 4) & 0x03) == 1;
  sharing.entitiesCount = (second & 0x80) != 0;
  sharing.offset = second & 0x7F;
  return sharing;
}

/// Letters count as columns of a spreadsheet do: Z is followed by AA.
std::string InstanceName(const Sharing& sharing, unsigned index) {
  unsigned value = sharing.offset + index;
  if (!sharing.letters) {
    return std::to_string(value);
  }
  std::string letters;
  for (++value; value > 0; value = (value - 1) / 26) {
    letters.insert(letters.begin(), static_cast<char>('A' + (value - 1) % 26));
  }
  return letters;
}

std::vector<SensorRecord> Expanded(const SensorRecord& shared, const Sharing& sharing) {
  std::vector<SensorRecord> sensors;
  for (unsigned index = 0; index < sharing.count; ++index) {
    SensorRecord sensor = shared;
    sensor.key.number = static_cast<u8>(shared.key.number + index);
    if (sharing.entitiesCount) {
      sensor.entity.instance = static_cast<u8>((shared.entity.instance + index) & 0x7F);
    }
    if (sharing.count > 1) {
      sensor.name += (sensor.name.empty() ? "" : " ") + InstanceName(sharing, index);
    }
    sensors.push_back(std::move(sensor));
  }
  return sensors;
}

std::vector<SensorRecord> ReadCompact(ByteReader& reader) {
  SensorRecord sensor = ReadSensorStart(reader, 2);
  const Sharing sharing = ReadSharing(reader);
  sensor.readableThresholds = 0;  // a compact record has no values of thresholds
  reader.Skip(6);                 // hysteresis, reserved, manufacturer's byte
  sensor.name = ReadName(reader);
  return Expanded(sensor, sharing);
}

std::vector<SensorRecord> ReadEventOnly(ByteReader& reader) {
  SensorRecord sensor;
  sensor.recordType = 3;
  sensor.key = ReadSensorKey(reader);
  sensor.entity = ReadEntity(reader, sensor.key.owner);
  sensor.sensorType = reader.U8();
  sensor.eventType = reader.U8() & 0x7F;
  const Sharing sharing = ReadSharing(reader);
  reader.Skip(2);
  sensor.name = ReadName(reader);
  return Expanded(sensor, sharing);
}

FruLocator ReadFruLocator(ByteReader& reader) {
  FruLocator locator;
  locator.accessAddress = reader.U8() & 0xFE;
  locator.fruId = reader.U8();
  const u8 place = reader.U8();
  locator.logical = (place & 0x80) != 0;
  locator.lun = (place >> 3) & 0x03;
  locator.bus = place & 0x07;
  locator.channel = reader.U8() >> 4;
  reader.Skip(3);  // reserved, device type and its modifier
  locator.entity = ReadEntity(reader, locator.accessAddress);
  reader.Skip(1);
  locator.name = ReadName(reader);
  return locator;
}

ControllerLocator ReadControllerLocator(ByteReader& reader) {
  ControllerLocator locator;
  locator.address = reader.U8() & 0xFE;
  locator.channel = reader.U8() & 0x0F;
  reader.Skip(1);  // power state notification
  locator.capabilities = reader.U8();
  reader.Skip(3);
  locator.entity = ReadEntity(reader, locator.address);
  reader.Skip(1);
  locator.name = ReadName(reader);
  return locator;
}

/// An entity of an association: one of another controller is named with its address.
EntityKey ReadMember(ByteReader& reader, bool deviceRelative) {
  u8 address = Kelvar::Ipmi::kServiceProcessor;
  if (deviceRelative) {
    address = reader.U8() & 0xFE;
    reader.Skip(1);  // channel
  }
  return ReadEntity(reader, address);
}

/// Four entities, or two ranges of instances of one entity each.
void ReadContained(ByteReader& reader, bool ranges, bool deviceRelative, EntityAssociation& association) {
  std::array<EntityKey, 4> entries;
  for (EntityKey& entry : entries) {
    entry = ReadMember(reader, deviceRelative);
  }
  for (std::size_t at = 0; at < entries.size(); at += ranges ? 2 : 1) {
    EntityKey entity = entries[at];
    const u8 last = ranges && entries[at + 1].id == entity.id ? entries[at + 1].instance : entity.instance;
    for (; entity.id != 0 && entity.instance <= last; ++entity.instance) {
      association.contained.push_back(entity);
    }
  }
}

EntityAssociation ReadAssociation(ByteReader& reader, bool deviceRelative) {
  EntityAssociation association;
  association.container = ReadEntity(reader, Kelvar::Ipmi::kServiceProcessor);
  if (deviceRelative) {
    const u8 address = reader.U8() & 0xFE;
    association.container.controller = association.container.instance < kFirstRelative ? u8{0} : address;
    reader.Skip(1);  // channel
  }
  const bool ranges = (reader.U8() & 0x80) != 0;
  ReadContained(reader, ranges, deviceRelative, association);
  return association;
}

}  // namespace

bool SensorRecord::IsNumeric() const noexcept {
  if (!factors || units.AnalogFormat() == UnitFields::Format::None) {
    return false;
  }
  // Some sensors of states have a reading too, such as the speed of a fan in percent; a unit tells which.
  return HasThresholds() || units.base != 0 || units.IsPercent();
}

std::optional<SdrRecord> ParseSdrRecord(std::span<const u8> bytes) {
  ByteReader header(bytes);
  SdrRecord record;
  record.id = header.U16();
  header.Skip(1);  // version
  const u8 type = header.U8();
  const std::size_t length = header.U8();
  if (!header.Ok()) {
    return std::nullopt;
  }
  ByteReader reader(bytes.subspan(kHeaderSize, std::min(length, header.Remaining())));
  switch (type) {
    case 0x01:
      record.body = std::vector<SensorRecord>{ReadFull(reader)};
      break;
    case 0x02:
      record.body = ReadCompact(reader);
      break;
    case 0x03:
      record.body = ReadEventOnly(reader);
      break;
    case 0x08:
    case 0x09:
      record.body = ReadAssociation(reader, type == 0x09);
      break;
    case 0x11:
      record.body = ReadFruLocator(reader);
      break;
    case 0x12:
      record.body = ReadControllerLocator(reader);
      break;
    default:
      record.body = OtherRecord{type};
  }
  return reader.Ok() ? std::optional<SdrRecord>(std::move(record)) : std::nullopt;
}

}  // namespace Kelvar::Reader::Ipmi
