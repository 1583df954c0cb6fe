#include "module/reader/ipmi/SelRecord.h"

#include <algorithm>
#include <cstdio>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/EventDetail.h"
#include "module/reader/ipmi/IpmiSensorUnits.h"
#include "module/reader/ipmi/SensorStates.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Text::ByteReader;

template <std::size_t N>
std::array<u8, N> ReadArray(ByteReader& reader) {
  std::array<u8, N> bytes{};
  const auto taken = reader.Bytes(N);
  std::copy(taken.begin(), taken.end(), bytes.begin());
  return bytes;
}

SelEvent ReadEvent(ByteReader& reader) {
  SelEvent event;
  event.timestamp = reader.U32();
  event.sensor.owner = reader.U8();
  const u8 place = reader.U8();
  event.sensor.channel = place >> 4;
  event.sensor.lun = place & 0x03;
  reader.Skip(1);  // format of the event message
  event.sensorType = reader.U8();
  event.sensor.number = reader.U8();
  const u8 type = reader.U8();
  event.deasserted = (type & 0x80) != 0;
  event.eventType = type & 0x7F;
  event.data = ReadArray<3>(reader);
  return event;
}

SelOemTimed ReadOemTimed(ByteReader& reader) {
  SelOemTimed oem;
  oem.timestamp = reader.U32();
  oem.manufacturer = reader.U8();
  oem.manufacturer |= static_cast<u32>(reader.U16()) << 8;
  oem.data = ReadArray<6>(reader);
  return oem;
}

/// Some targets put another type before an event: its format of event messages tells.
bool IsEventOfAnotherType(std::span<const u8> bytes) noexcept {
  constexpr u8 kFirstOem = 0xC0;
  constexpr u8 kFormat = 0x04;
  return bytes[2] < kFirstOem && bytes[9] == kFormat;
}

std::string Hex(unsigned value, int digits) {
  std::array<char, 16> text{};
  (void)std::snprintf(text.data(), text.size(), "0x%0*x", digits, value);
  return text.data();
}

std::string Dump(std::span<const u8> bytes) {
  std::string text;
  for (const u8 byte : bytes) {
    text += (text.empty() ? "" : " ") + Hex(byte, 2);
  }
  return text;
}

std::string SourceOf(const SelEvent& event, const SensorRecord* sensor) {
  if (sensor != nullptr && !sensor->name.empty()) {
    return sensor->name;
  }
  const char* type = SensorTypeName(event.sensorType);
  return (type != nullptr ? std::string(type) : "sensor type " + Hex(event.sensorType, 2)) + " sensor " +
         Hex(event.sensor.number, 2);
}

std::string NumberText(double number) {
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "%.6g", number);
  return text.data();
}

/// A raw byte by the sensor's formula, or as it is.
std::string ValueText(u8 raw, const SensorRecord* sensor) {
  if (sensor != nullptr && sensor->IsNumeric() && !sensor->factors->IsNonLinear()) {
    if (const auto value = ConvertReading(raw, sensor->units.AnalogFormat(), *sensor->factors)) {
      const std::string unit = UnitText(sensor->units);
      return NumberText(*value) + (unit.empty() ? "" : " " + unit);
    }
  }
  return "raw " + Hex(raw, 2);
}

/// What event data 2 and 3 of a threshold event tell; the reading and the threshold.
std::string ThresholdDetail(const SelEvent& event, const SensorRecord* sensor) {
  constexpr u8 kTrigger = 1;
  std::string text;
  if ((event.data[0] >> 6) == kTrigger) {
    text = "reading " + ValueText(event.data[1], sensor);
  }
  if (((event.data[0] >> 4) & 0x03) == kTrigger) {
    text += (text.empty() ? "" : ", ") + ("threshold " + ValueText(event.data[2], sensor));
  }
  return text;
}

/// Bytes whose meaning is the manufacturer's.
std::string OemDetail(const SelEvent& event) {
  constexpr u8 kOem = 2;
  std::string text;
  if ((event.data[0] >> 6) == kOem) {
    text = "data 2 " + Hex(event.data[1], 2);
  }
  if (((event.data[0] >> 4) & 0x03) == kOem) {
    text += (text.empty() ? "" : ", ") + ("data 3 " + Hex(event.data[2], 2));
  }
  return text;
}

SelText DescribeEvent(const SelEvent& event, const SensorRecord* sensor) {
  const bool threshold = event.eventType == kThresholdEvents;
  const SensorState state =
      threshold ? ThresholdEventOf(event.Offset()) : StateOf(event.eventType, event.sensorType, event.Offset());
  SelText text;
  text.source = SourceOf(event, sensor);
  text.severity = state.severity == Model::Health::Unknown ? SeverityOf(event) : state.severity;
  if (event.deasserted && (state.text != nullptr || text.severity != Model::Health::Unknown)) {
    text.severity = Model::Health::Ok;
  }
  std::string detail;
  if (state.text != nullptr) {
    text.message = text.source + ": " + state.text;
    detail = threshold ? ThresholdDetail(event, sensor) : DiscreteDetail(event);
    const std::string oem = OemDetail(event);
    detail += (detail.empty() || oem.empty() ? "" : ", ") + oem;
  } else {
    text.message = text.source + ": event type " + Hex(event.eventType, 2) + " state " + std::to_string(event.Offset());
    detail = "data " + Dump(event.data);
  }
  text.message += (detail.empty() ? "" : " (" + detail + ")") + (event.deasserted ? ", deasserted" : "");
  return text;
}

}  // namespace

std::optional<u32> SelRecord::Timestamp() const noexcept {
  if (const auto* event = std::get_if<SelEvent>(&body)) {
    return event->timestamp;
  }
  const auto* timed = std::get_if<SelOemTimed>(&body);
  return timed != nullptr ? std::optional<u32>(timed->timestamp) : std::nullopt;
}

std::optional<SelRecord> ParseSelRecord(std::span<const u8> bytes) {
  if (bytes.size() < kSelRecordSize) {
    return std::nullopt;
  }
  ByteReader reader(bytes);
  SelRecord record;
  record.id = reader.U16();
  record.type = reader.U8();
  if (record.type == 0x02 || IsEventOfAnotherType(bytes)) {
    record.body = ReadEvent(reader);
  } else if (record.type >= 0xC0 && record.type <= 0xDF) {
    record.body = ReadOemTimed(reader);
  } else {
    record.body = SelOem{ReadArray<13>(reader)};
  }
  return record;
}

SelText DescribeRecord(const SelRecord& record, const SensorRecord* sensor) {
  if (const auto* event = std::get_if<SelEvent>(&record.body)) {
    return DescribeEvent(*event, sensor);
  }
  SelText text;
  constexpr u8 kFirstOem = 0xC0;
  text.message = (record.type < kFirstOem ? "record of unknown type " : "OEM record ") + Hex(record.type, 2);
  if (const auto* timed = std::get_if<SelOemTimed>(&record.body)) {
    text.message += " of manufacturer " + std::to_string(timed->manufacturer) + ": " + Dump(timed->data);
  } else {
    text.message += ": " + Dump(std::get<SelOem>(record.body).data);
  }
  return text;
}

}  // namespace Kelvar::Reader::Ipmi
