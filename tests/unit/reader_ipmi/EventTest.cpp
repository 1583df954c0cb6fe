// Records of the system event log and times, by the definitions of the IPMI 2.0 specification.

#include <gtest/gtest.h>

#include "module/reader/ipmi/EventTime.h"
#include "module/reader/ipmi/SelRecord.h"

namespace Kelvar::Reader::Ipmi {
namespace {

using Bytes = std::vector<u8>;

SensorRecord Voltage() {
  SensorRecord sensor;
  sensor.name = "12V";
  sensor.eventType = 1;
  sensor.units = {0, 4, 0};
  sensor.factors = ConversionFactors{0, 6, 0, 0, -2};
  return sensor;
}

Bytes Event(u8 sensorType, u8 eventType, u8 data1, u8 data2 = 0xFF, u8 data3 = 0xFF) {
  return {1, 0, 2, 0x80, 0x4C, 0xB8, 0x65, 0x20, 0, 4, sensorType, 0x30, eventType, data1, data2, data3};
}

TEST(Records, AreToldInWords) {
  using Model::Health;
  const SensorRecord voltage = Voltage();
  const struct {
    Bytes bytes;
    const SensorRecord* sensor;
    const char* message;
    Health severity;
  } rows[] = {
      {Event(2, 0x01, 0x59, 210, 200), &voltage, "12V: upper critical going high (reading 12.6 V, threshold 12 V)",
       Health::Critical},
      {Event(2, 0x81, 0x52, 150, 160), &voltage,
       "12V: lower critical going low (reading 9 V, threshold 9.6 V), deasserted", Health::Ok},
      {Event(2, 0x01, 0x50, 150, 160), nullptr,
       "voltage sensor 0x30: lower non-critical going low (reading raw 0x96, threshold raw 0xa0)", Health::Warning},
      {Event(8, 0x6F, 0x01), nullptr, "power supply sensor 0x30: power supply failure detected", Health::Critical},
      {Event(8, 0x6F, 0x36, 0xFF, 3), nullptr,
       "power supply sensor 0x30: configuration error (power supply rating mismatch)", Health::Critical},
      {Event(0x0C, 0x6F, 0x30, 0xFF, 5), nullptr, "memory sensor 0x30: correctable ECC (memory module 5)",
       Health::Warning},
      {Event(0x0F, 0x6F, 0xC2, 7), nullptr,
       "system firmware progress sensor 0x30: system firmware progress (PCI resource configuration)", Health::Ok},
      {Event(0x0F, 0x6F, 0xA0, 0x12, 0x34), nullptr,
       "system firmware progress sensor 0x30: system firmware error (POST error) (data 2 0x12, data 3 0x34)",
       Health::Critical},
      {Event(0x23, 0x6F, 0xC1, 0x04), nullptr, "watchdog 2 sensor 0x30: hard reset (timer use SMS/OS)",
       Health::Critical},
      {Event(8, 0x0B, 0x01), nullptr, "power supply sensor 0x30: redundancy lost", Health::Critical},
      {Event(0x22, 0x6F, 0x45, 0xF0), nullptr,
       "system ACPI power state sensor 0x30: S5/G2 soft-off (before: S0/G0 working)", Health::Ok},
      {Event(0x15, 0x03, 0x41, 0x2F), nullptr, "module/board sensor 0x30: state asserted", Health::Critical},
      {Event(0x15, 0x83, 0x41, 0x2F), nullptr, "module/board sensor 0x30: state asserted, deasserted", Health::Ok},
      {Event(0x28, 0x6F, 0xC5, 7), nullptr, "management subsystem health sensor 0x30: FRU failure (FRU device 7)",
       Health::Warning},
      {Event(0xC4, 0x71, 0x03, 1, 2), nullptr,
       "sensor type 0xc4 sensor 0x30: event type 0x71 state 3 (data 0x03 0x01 0x02)", Health::Unknown},
      {{1, 0, 0xC1, 0x80, 0x4C, 0xB8, 0x65, 0x4C, 0xFE, 0, 1, 2, 3, 4, 5, 6},
       nullptr,
       "OEM record 0xc1 of manufacturer 65100: 0x01 0x02 0x03 0x04 0x05 0x06",
       Health::Unknown},
      {{1, 0, 0xE0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13},
       nullptr,
       "OEM record 0xe0: 0x01 0x02 0x03 0x04 0x05 0x06 0x07 0x08 0x09 0x0a 0x0b 0x0c 0x0d",
       Health::Unknown},
  };
  for (const auto& row : rows) {
    const auto record = ParseSelRecord(row.bytes);
    ASSERT_TRUE(record);
    const SelText text = DescribeRecord(*record, row.sensor);
    EXPECT_EQ(text.message, row.message);
    EXPECT_EQ(text.severity, row.severity) << row.message;
  }
  Bytes other = Event(8, 0x6F, 0x01);
  other[2] = 0x05;
  EXPECT_EQ(DescribeRecord(*ParseSelRecord(other), nullptr).message,
            "power supply sensor 0x30: power supply failure detected");
  other[9] = 0x77;
  EXPECT_EQ(DescribeRecord(*ParseSelRecord(other), nullptr).message.substr(0, 27), "record of unknown type 0x05");
  EXPECT_FALSE(ParseSelRecord(Bytes(15, 2)));
  EXPECT_EQ(ParseSelRecord(rows[15].bytes)->Timestamp(), 0x65B84C80U);
  EXPECT_EQ(ParseSelRecord(rows[16].bytes)->Timestamp(), std::nullopt);
}

TEST(Times, AreIso8601WhenTheyAreTimes) {
  EXPECT_EQ(TimeText(0x65B84C80, std::nullopt), "2024-01-30T01:10:24Z");
  EXPECT_EQ(TimeText(0x65B84C80, 0), "2024-01-30T01:10:24Z");
  EXPECT_EQ(TimeText(0x65B84C80, -210), "2024-01-30T01:10:24-03:30");
  EXPECT_EQ(TimeText(0x20000000, 0), "");
  EXPECT_EQ(TimeText(0xFFFFFFFF, 0), "");
  EXPECT_EQ(UtcOffsetOf(0x07FF), std::nullopt);
  EXPECT_EQ(UtcOffsetOf(0xFFC4), -60);
}

TEST(Times, AreReadBack) {
  EXPECT_EQ(SecondsOf("2024-01-30T01:10:24Z"), 0x65B84C80);
  EXPECT_EQ(SecondsOf("2024-01-30T02:10:24+01:00"), 0x65B84C80);
  EXPECT_EQ(SecondsOf("1970-01-02"), 86400);
  for (const char* text : {"", "yesterday", "2024-01-30T01:10:24+1", "2024-01-30T01:10:24Zulu"}) {
    EXPECT_EQ(SecondsOf(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
