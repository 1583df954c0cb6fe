#include "simulator/ipmi/SensorRecord.h"

#include <array>
#include <stdexcept>

#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator {

namespace {

using rapidjson::Value;

constexpr unsigned kThresholdEvents = 0x01;

u8 Byte(const Value& object, const char* key, unsigned whenAbsent) {
  const unsigned number = Json::Number(object, key, whenAbsent);
  if (number > 0xFF) {
    throw std::runtime_error(std::string("not a byte: \"") + key + '"');
  }
  return static_cast<u8>(number);
}

Bytes BytesOfSize(const Value& object, const char* key, std::size_t size) {
  Bytes bytes = BytesOf(Json::Text(object, key, ""));
  if (!bytes.empty() && bytes.size() != size) {
    throw std::runtime_error(std::string("\"") + key + "\" must have " + std::to_string(size) + " bytes");
  }
  bytes.resize(size);
  return bytes;
}

void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

/// Owner to entity instance: what all three types begin with.
Bytes Start(const Value& record) {
  return {Byte(record, "owner", kServiceProcessor), Byte(record, "place", 0), Byte(record, "sensor", 0),
          Byte(record, "entity", 0), Byte(record, "instance", 0)};
}

/// In the order of the bits of threshold masks.
constexpr std::array<const char*, 6> kThresholds = {"lnc", "lc", "lnr", "unc", "uc", "unr"};

u8 ReadableThresholds(const Value& record) {
  unsigned mask = 0;
  if (const Value* thresholds = Json::Find(record, "thresholds")) {
    for (std::size_t bit = 0; bit < kThresholds.size(); ++bit) {
      mask |= Json::Find(*thresholds, kThresholds[bit]) != nullptr ? 1U << bit : 0U;
    }
  }
  return static_cast<u8>(mask);
}

/// Initialization to units.
Bytes Behaviour(const Value& record) {
  constexpr u8 kReadableAndSettable = 0x08;
  constexpr u8 kSettableMask = 0x3F;
  const u8 eventType = Byte(record, "eventType", kThresholdEvents);
  const bool threshold = eventType == kThresholdEvents;
  const u8 readable = ReadableThresholds(record);
  Bytes bytes{0x7F, static_cast<u8>(0x60 | (readable != 0 ? kReadableAndSettable : 0)), Byte(record, "sensorType", 0),
              eventType};
  Append(bytes, {0xFF, 0x0F, 0xFF, 0x0F});  // events
  Append(bytes, threshold ? Bytes{readable, kSettableMask} : Bytes{0xFF, 0x7F});
  Append(bytes, BytesOfSize(record, "units", 3));
  return bytes;
}

Bytes Full(const Value& record) {
  Bytes body = Start(record);
  Append(body, Behaviour(record));
  body.push_back(Byte(record, "linearisation", 0));
  Append(body, BytesOfSize(record, "factors", 6));
  std::vector<unsigned> range = Json::Numbers(record, "range");
  range.resize(2);
  Append(body, {0, 0, 0, 0, static_cast<u8>(range[1]), static_cast<u8>(range[0])});
  const Value* thresholds = Json::Find(record, "thresholds");
  for (auto name = kThresholds.rbegin(); name != kThresholds.rend(); ++name) {
    body.push_back(thresholds != nullptr ? Byte(*thresholds, *name, 0) : u8{0});
  }
  Append(body, {1, 1, 0, 0, 0});  // hysteresis, reserved, manufacturer's byte
  return body;
}

Bytes Sharing(const Value& record) {
  const Value* share = Json::Find(record, "share");
  if (share == nullptr) {
    return {1, 0};
  }
  return {static_cast<u8>((Json::Flag(*share, "letters") ? 0x10 : 0x00) | (Byte(*share, "count", 1) & 0x0F)),
          static_cast<u8>((Json::Flag(*share, "entities") ? 0x80 : 0x00) | (Byte(*share, "offset", 0) & 0x7F))};
}

}  // namespace

SensorBytes SensorRecord(const Value& record) {
  const std::string kind = Json::Text(record, "record");
  if (kind == "full") {
    return {1, Full(record)};
  }
  Bytes body = Start(record);
  if (kind == "compact") {
    Append(body, Behaviour(record));
    Append(body, Sharing(record));
    Append(body, {0, 0, 0, 0, 0, 0});
    return {2, body};
  }
  if (kind == "event") {
    Append(body, {Byte(record, "sensorType", 0), Byte(record, "eventType", kThresholdEvents)});
    Append(body, Sharing(record));
    Append(body, {0, 0});
    return {3, body};
  }
  throw std::runtime_error("unknown kind of sensor record: " + kind);
}

Bytes LiveThresholds(const Value& record) {
  const Value* thresholds = Json::Find(record, "thresholds");
  if (thresholds == nullptr) {
    return {};
  }
  Bytes data{ReadableThresholds(record)};
  for (const char* name : kThresholds) {
    data.push_back(Byte(*thresholds, name, 0));
  }
  return data;
}

unsigned SharedBy(const Value& record) {
  const Value* share = Json::Find(record, "share");
  return share != nullptr ? Json::Number(*share, "count", 1) : 1;
}

}  // namespace Kelvar::Simulator
