#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include <kelvar/Inventory.h>

#include "module/reader/ipmi/SdrRecord.h"

namespace Kelvar::Reader::Ipmi {

constexpr std::size_t kSelRecordSize = 16;

/// A record of type 02.
struct SelEvent {
  u32 timestamp = 0;
  SensorKey sensor;
  u8 sensorType = 0;
  u8 eventType = 0;
  bool deasserted = false;
  std::array<u8, 3> data{};

  unsigned Offset() const noexcept { return data[0] & 0x0F; }
};

/// A record of types C0 to DF.
struct SelOemTimed {
  u32 timestamp = 0;
  u32 manufacturer = 0;  ///< IANA enterprise number
  std::array<u8, 6> data{};
};

/// A record of types E0 to FF, and of types that the standard does not know.
struct SelOem {
  std::array<u8, 13> data{};
};

struct SelRecord {
  u16 id = 0;
  u8 type = 0;
  std::variant<SelOem, SelOemTimed, SelEvent> body;

  std::optional<u32> Timestamp() const noexcept;
};

/// Nothing for less than 16 bytes.
std::optional<SelRecord> ParseSelRecord(std::span<const u8> bytes);

/// A record in words, its severity and what it is about.
struct SelText {
  std::string message;
  std::string source;
  Model::Health severity = Model::Health::Unknown;
};

/// `sensor`: the record of the sensor that the event names; may be null.
SelText DescribeRecord(const SelRecord& record, const SensorRecord* sensor);

}  // namespace Kelvar::Reader::Ipmi
