#include "simulator/ipmi/SdrBytes.h"

#include <stdexcept>

#include "simulator/ipmi/SensorRecord.h"
#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator {

namespace {

using rapidjson::Value;

constexpr u8 kFullSensor = 0x01;
constexpr u8 kFruDeviceLocator = 0x11;

u8 Byte(const Value& object, const char* key) {
  const unsigned number = Json::Number(object, key);
  if (number > 0xFF) {
    throw std::runtime_error(std::string("no byte: \"") + key + '"');
  }
  return static_cast<u8>(number);
}

Bytes LocatorBody(const Value& record) {
  constexpr u8 kLogicalDevice = 0x80;
  constexpr u8 kFruInventory = 0x10;
  return {kServiceProcessor,
          Byte(record, "fru"),
          kLogicalDevice,
          0,
          0,
          kFruInventory,
          0,
          Byte(record, "entity"),
          Byte(record, "instance"),
          0};
}

/// Readings are the value itself (M = 1, B = 0, exponents 0), thresholds the three upper ones.
Bytes SensorBody(const Value& record) {
  constexpr u8 kThresholdReading = 0x01;
  constexpr u8 kUpperThresholds = 0x38;
  Bytes body{kServiceProcessor, 0, Byte(record, "sensor"), Byte(record, "entity"), Byte(record, "instance")};
  const Bytes behaviour{0x7F, 0x68, Byte(record, "sensorType"), kThresholdReading, 0x80, 0x0A,
                        0x80, 0x7A, kUpperThresholds,           kUpperThresholds};
  const Bytes conversion{0x00, Byte(record, "unit"), 0, 0, 1, 0, 0, 0, 0, 0, 0x00, 0, 0, 0, 0xFF, 0x00};
  body.insert(body.end(), behaviour.begin(), behaviour.end());
  body.insert(body.end(), conversion.begin(), conversion.end());
  std::vector<unsigned> upper = Json::Numbers(record, "upper");
  upper.resize(3, 0xFF);
  for (auto threshold = upper.rbegin(); threshold != upper.rend(); ++threshold) {
    body.push_back(static_cast<u8>(*threshold));
  }
  const Bytes lowerAndRest{0, 0, 0, 1, 1, 0, 0, 0};
  body.insert(body.end(), lowerAndRest.begin(), lowerAndRest.end());
  return body;
}

}  // namespace

Bytes SdrRecord(const Value& record, unsigned id) {
  constexpr u8 kSdrVersion = 0x51;
  constexpr u8 kLatin1 = 0xC0;
  constexpr std::size_t kLongestName = 16;
  u8 type = 0;
  Bytes body;
  if (Json::Find(record, "fru") != nullptr) {
    type = kFruDeviceLocator;
    body = LocatorBody(record);
  } else if (Json::Find(record, "record") != nullptr) {
    SensorBytes sensor = SensorRecord(record);
    type = sensor.type;
    body = std::move(sensor.body);
  } else if (Json::Find(record, "sensor") != nullptr) {
    type = kFullSensor;
    body = SensorBody(record);
  } else {
    type = Byte(record, "type");
    body = BytesOf(Json::Text(record, "body"));
  }
  if (Json::Find(record, "name") != nullptr) {
    const std::string name = Json::Text(record, "name");
    if (name.size() > kLongestName) {
      throw std::runtime_error("a record name of more than 16 characters: " + name);
    }
    body.push_back(static_cast<u8>(kLatin1 | name.size()));
    body.insert(body.end(), name.begin(), name.end());
  }
  const u8 length = static_cast<u8>(body.size());
  body.insert(body.begin(), {static_cast<u8>(id), static_cast<u8>(id >> 8), kSdrVersion, type, length});
  return body;
}

}  // namespace Kelvar::Simulator
