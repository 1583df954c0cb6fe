// Sensor data records and the conversion of their readings. The first byte is a raw reading.

#include <cmath>

#include "fuzz/Check.h"
#include "module/reader/ipmi/IpmiSensorUnits.h"
#include "module/reader/ipmi/SdrRecord.h"
#include "module/reader/ipmi/SensorStates.h"

using namespace Kelvar;
using namespace Kelvar::Reader::Ipmi;

namespace {

void CheckText(const std::string& text) {
  FUZZ_CHECK(text.size() <= 3UL * 32 && text.find('\0') == std::string::npos);
}

void CheckSensor(const SensorRecord& sensor, u8 raw) {
  CheckText(sensor.name);
  FUZZ_CHECK((sensor.readableThresholds & ~0x3F) == 0);
  FUZZ_CHECK(UnitText(sensor.units).size() < 64);
  FUZZ_CHECK(NumericKind(sensor.sensorType, sensor.units) != nullptr);
  FUZZ_CHECK(DecodeStates(sensor.eventType, sensor.sensorType, static_cast<u16>(raw << 8 | raw)).words.size() <= 15);
  if (sensor.factors) {
    const auto value = ConvertReading(raw, sensor.units.AnalogFormat(), *sensor.factors);
    FUZZ_CHECK(!value || std::isfinite(*value));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const auto record = ParseSdrRecord(std::span<const u8>(data + 1, size - 1));
  if (!record) {
    return 0;
  }
  if (const auto* sensors = std::get_if<std::vector<SensorRecord>>(&record->body)) {
    FUZZ_CHECK(!sensors->empty() && sensors->size() <= 15);
    for (const SensorRecord& sensor : *sensors) {
      CheckSensor(sensor, data[0]);
    }
  } else if (const auto* locator = std::get_if<FruLocator>(&record->body)) {
    CheckText(locator->name);
  } else if (const auto* association = std::get_if<EntityAssociation>(&record->body)) {
    FUZZ_CHECK(association->contained.size() <= 2UL * 128);
  }
  return 0;
}
