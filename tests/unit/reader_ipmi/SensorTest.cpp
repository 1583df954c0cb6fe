// Sensor data records, conversion of readings, units and states, by the definitions of the IPMI 2.0 specification.

#include <cmath>

#include <gtest/gtest.h>

#include "module/reader/ipmi/IpmiSensorUnits.h"
#include "module/reader/ipmi/SdrRecord.h"
#include "module/reader/ipmi/SensorStates.h"
#include "module/reader/ipmi/SensorThresholds.h"

namespace Kelvar::Reader::Ipmi {
namespace {

using Bytes = std::vector<u8>;
using Format = UnitFields::Format;

TEST(Conversion, ReadsFactorsOfTenAndFourBits) {
  const u8 bytes[] = {0x34, 0x80, 0xFF, 0xC0, 0x00, 0xD2};  // M = 234h (negative), B = 3FFh, K2 = -3, K1 = 2
  const ConversionFactors factors = ParseFactors(0x87, bytes);
  EXPECT_EQ(factors.linearisation, 7);
  EXPECT_EQ(factors.m, 0x234 - 0x400);
  EXPECT_EQ(factors.b, -1);
  EXPECT_EQ(factors.resultExponent, -3);
  EXPECT_EQ(factors.bExponent, 2);
}

struct Reading {
  const char* name;
  u8 raw;
  Format format;
  ConversionFactors factors;  ///< linearisation, M, B, B's exponent, result's exponent
  std::optional<double> value;
};

TEST(Conversion, FollowsTheFormula) {
  const Reading readings[] = {
      {"unsigned", 200, Format::Unsigned, {0, 1, 0, 0, 0}, 200},
      {"ones' complement", 0xFE, Format::OnesComplement, {0, 1, 0, 0, 0}, -1},
      {"ones' complement, negative zero", 0xFF, Format::OnesComplement, {0, 1, 0, 0, 0}, 0},
      {"two's complement", 0x80, Format::TwosComplement, {0, 1, 0, 0, 0}, -128},
      {"no number", 1, Format::None, {0, 1, 0, 0, 0}, std::nullopt},
      {"factors that are all zero", 35, Format::Unsigned, {0, 0, 0, 0, 0}, std::nullopt},
      {"decimals", 35, Format::Unsigned, {0, 1, 0, 0, -2}, 0.35},
      {"offset", 10, Format::Unsigned, {0, 2, 5, 1, -1}, 7},           // (20 + 50) / 10
      {"small offset", 3, Format::Unsigned, {0, 1, 25, -2, 0}, 3.25},  // 3 + 0.25
      {"large exponents", 255, Format::Unsigned, {0, -512, 511, 7, 7}, (-130560.0 + 5.11e9) * 1e7},
      {"M is 0", 77, Format::Unsigned, {0, 0, 4, 0, 0}, 4},
      {"ln", 1, Format::Unsigned, {1, 1, 0, 0, 0}, 0},
      {"log10", 100, Format::Unsigned, {2, 1, 0, 0, 0}, 2},
      {"log2", 8, Format::Unsigned, {3, 1, 0, 0, 0}, 3},
      {"e", 0, Format::Unsigned, {4, 1, 0, 0, 0}, 1},
      {"exp10", 2, Format::Unsigned, {5, 1, 0, 0, 0}, 100},
      {"exp2", 5, Format::Unsigned, {6, 1, 0, 0, 0}, 32},
      {"1/x", 4, Format::Unsigned, {7, 1, 0, 0, 0}, 0.25},
      {"1/0", 0, Format::Unsigned, {7, 1, 0, 0, 0}, std::nullopt},
      {"square", 7, Format::Unsigned, {8, 1, 0, 0, 0}, 49},
      {"cube", 3, Format::Unsigned, {9, 1, 0, 0, 0}, 27},
      {"root", 81, Format::Unsigned, {10, 1, 0, 0, 0}, 9},
      {"root of a negative number", 0x80, Format::TwosComplement, {10, 1, 0, 0, 0}, std::nullopt},
      {"cube root", 27, Format::Unsigned, {11, 1, 0, 0, 0}, 3},
      {"reserved", 27, Format::Unsigned, {12, 1, 0, 0, 0}, std::nullopt},
      {"not linear, by its own factors", 27, Format::Unsigned, {0x70, 2, 0, 0, 0}, 54},
  };
  for (const Reading& reading : readings) {
    const auto value = ConvertReading(reading.raw, reading.format, reading.factors);
    EXPECT_EQ(value.has_value(), reading.value.has_value()) << reading.name;
    EXPECT_DOUBLE_EQ(value.value_or(0), reading.value.value_or(0)) << reading.name;
  }
}

TEST(Conversion, GivesTheNearestDoubleOfADecimal) {
  EXPECT_EQ(ConvertReading(35, Format::Unsigned, {0, 1, 0, 0, -2}), 0.35);
  EXPECT_EQ(ConvertReading(104, Format::Unsigned, {0, 3, 7, -1, -2}), 3.127);
}

TEST(Units, AreUcum) {
  const struct {
    UnitFields units;
    u8 sensorType;
    const char* text;
    const char* kind;
  } rows[] = {
      {{0x80, 1, 0}, 1, "Cel", "temperature"},
      {{0, 18, 0}, 4, "{rev}/min", "fan"},
      {{0, 4, 0}, 2, "V", "voltage"},
      {{0, 6, 0}, 8, "W", "power"},
      {{0x01, 0, 0}, 4, "%", "fan"},
      {{0x01, 0, 0}, 0x0B, "%", "percent"},
      {{0x02, 70, 22}, 0x0B, "By/s", "other"},
      {{0x04, 5, 24}, 0x0B, "A.h", "other"},
      {{0x18, 85, 0}, 0x0B, "{packet}/s", "other"},
      {{0, 0, 0}, 1, "", "temperature"},
      {{0, 200, 0}, 0xC0, "", "other"},
      {{0, 92, 0}, 0x0B, "g", "other"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(UnitText(row.units), row.text);
    EXPECT_STREQ(NumericKind(row.sensorType, row.units), row.kind) << row.text;
  }
}

template <typename Body>
Body BodyOf(const Bytes& bytes) {
  const auto record = ParseSdrRecord(bytes);
  return record ? std::get<Body>(record->body) : Body();
}
using Sensors = std::vector<SensorRecord>;

/// A full record of a temperature with all thresholds readable, named "CPU Temp".
Bytes FullRecord() {
  return {0x34, 0x12, 0x51, 0x01, 0x33,                                      // header
          0x20, 0x12, 0x30, 0x03, 0x82, 0x7F, 0x68, 0x01, 0x01,              // key, entity, capabilities, types
          0x95, 0x7A, 0x95, 0x7A, 0x3F, 0x3F,                                // masks: 19 and 20 alike
          0x80, 0x01, 0x00, 0x00, 0x02, 0x00, 0x05, 0x00, 0x00, 0x00,        // units, linearisation, M = 2, B = 5
          0x07, 0x00, 0x00, 0x00, 0x7F, 0x80,                                // analog flags, nominal .. max, min
          0x64, 0x5F, 0x5A, 0x0A, 0x0F, 0x14, 0x01, 0x01, 0x00, 0x00, 0x00,  // thresholds, hysteresis
          0xC8, 'C',  'P',  'U',  ' ',  'T',  'e',  'm',  'p'};
}

TEST(Records, AFullOneHasItsFieldsWhereTheStandardPutsThem) {
  const auto record = ParseSdrRecord(FullRecord());
  ASSERT_TRUE(record);
  EXPECT_EQ(record->id, 0x1234);
  const SensorRecord& sensor = std::get<std::vector<SensorRecord>>(record->body).at(0);
  EXPECT_EQ(sensor.name, "CPU Temp");
  EXPECT_EQ(sensor.key, (SensorKey{0x20, 1, 2, 0x30}));
  EXPECT_EQ(sensor.entity, (EntityKey{3, 2}));  // without the bit of logical entities
  EXPECT_TRUE(sensor.IsNumeric());
  EXPECT_EQ(ConvertReading(0xFF, sensor.units.AnalogFormat(), *sensor.factors), 3);  // 2 * -1 + 5
  EXPECT_EQ(sensor.readableThresholds, 0x3F);
  EXPECT_EQ(sensor.thresholds, (std::array<u8, 6>{0x14, 0x0F, 0x0A, 0x5A, 0x5F, 0x64}));
  EXPECT_EQ(sensor.rangeMax, 0x7F);
  EXPECT_EQ(sensor.rangeMin, 0x80);
}

TEST(Thresholds, OfZeroThatWereNeverSetAreLeftOut) {
  SensorRecord sensor;
  sensor.units = {0, 1, 0};
  sensor.factors = ConversionFactors{0, 1, 0, 0, 0};
  const auto left = [&sensor](std::optional<CrossedThresholds> reading) {
    RawThresholds thresholds{0x3F, {}};
    DropUnset(sensor, reading, thresholds);
    return thresholds.readable;
  };
  EXPECT_EQ(left(std::nullopt), 0x07) << "every reading is beyond an upper one";
  EXPECT_EQ(left(CrossedThresholds{20, 0x00}), 0x07);
  EXPECT_EQ(left(CrossedThresholds{20, 0x38}), 0x3F);
  sensor.units.flags = 0x80;  // two's complement: 00 is as good as any
  EXPECT_EQ(left(std::nullopt), 0x3F);
  EXPECT_EQ(left(CrossedThresholds{20, 0x00}), 0x07);
  EXPECT_EQ(left(CrossedThresholds{0xF0, 0x00}), 0x38);
}

TEST(Thresholds, AnEndOfTheRangeInPlaceOfATemperatureIsNone) {
  SensorRecord sensor;
  sensor.units = {0, 1, 0};
  sensor.factors = ConversionFactors{0, 1, 0, 0, 0};
  EXPECT_TRUE(StandsForNone(sensor, {0xFF, 0xC0}));
  EXPECT_TRUE(StandsForNone(sensor, {0x7F, 0xC0}));
  EXPECT_FALSE(StandsForNone(sensor, {0x80, 0xC0}));
  EXPECT_FALSE(StandsForNone(sensor, {0x7F, 0xD0})) << "a threshold is crossed";
  sensor.units.flags = 0x80;
  EXPECT_TRUE(StandsForNone(sensor, {0x80, 0xC0}));
  EXPECT_FALSE(StandsForNone(sensor, {0xFF, 0xC0})) << "-1";
  sensor.units.base = 4;
  EXPECT_FALSE(StandsForNone(sensor, {0x80, 0xC0})) << "volts";
}

TEST(Records, ThresholdsThatAreNotReadableAreLeftOut) {
  for (const int access : {0, 3}) {
    Bytes bytes = FullRecord();
    bytes[11] = static_cast<u8>(access << 2);
    EXPECT_EQ(BodyOf<Sensors>(bytes).at(0).readableThresholds, 0) << access;
  }
}

TEST(Records, EveryCutIsRefusedOrLosesTheNameAlone) {
  const Bytes whole = FullRecord();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const auto record = ParseSdrRecord(std::span(whole).first(size));
    EXPECT_EQ(record.has_value(), size >= 48) << size;
  }
}

/// A compact record that three sensors share, names and entities counted from 5.
Bytes SharedRecord(u8 sharing, u8 modifier, const std::string& name) {
  Bytes bytes = {
      1, 0, 0x51, 2, 0,    0x20, 0, 0x40,    8,        1, 0, 0x40, 0x0C, 0x6F, 0, 0,
      0, 0, 0,    0, 0xC0, 0,    0, sharing, modifier, 0, 0, 0,    0,    0,    0, static_cast<u8>(0xC0 | name.size())};
  bytes.insert(bytes.end(), name.begin(), name.end());
  bytes[4] = static_cast<u8>(bytes.size() - 5);
  return bytes;
}

TEST(Records, SharedOnesAreExpanded) {
  const auto names = [](const Bytes& bytes) {
    std::string text;
    const Sensors sensors = BodyOf<Sensors>(bytes);
    for (const SensorRecord& sensor : sensors) {
      text +=
          sensor.name + "/" + std::to_string(sensor.key.number) + "/" + std::to_string(sensor.entity.instance) + " ";
    }
    return text;
  };
  EXPECT_EQ(names(SharedRecord(0x03, 0x85, "DIMM ")), "DIMM 5/64/1 DIMM 6/65/2 DIMM 7/66/3 ");
  EXPECT_EQ(names(SharedRecord(0x13, 25, "S")), "S Z/64/1 S AA/65/1 S AB/66/1 ");
  EXPECT_EQ(names(SharedRecord(0x01, 5, "One ")), "One/64/1 ");
  EXPECT_EQ(names(SharedRecord(0x00, 5, "One")), "One/64/1 ");
}

TEST(Records, AnEventOnlyOneIsASourceOfEvents) {
  const Bytes bytes = {9, 0, 0x51, 3, 15, 0x41, 0, 7, 35, 1, 0x20, 0x6F, 0, 0, 0, 0, 0xC2, 'O', 'S', 0, 0};
  const SensorRecord sensor = BodyOf<Sensors>(bytes).at(0);
  EXPECT_TRUE(sensor.IsEventOnly());
  EXPECT_TRUE(sensor.key.IsSoftware());
  EXPECT_EQ(sensor.name, "OS");
  EXPECT_EQ(sensor.sensorType, 0x20);
}

TEST(Records, LocatorsAndAssociations) {
  const Bytes fru = {1, 0, 0x51, 0x11, 13, 0x20, 0x07, 0x88, 0x60, 0, 0x10, 0, 10, 2, 0, 0xC2, 'P', '2'};
  const FruLocator locator = BodyOf<FruLocator>(fru);
  EXPECT_EQ(locator.fruId, 7);
  EXPECT_TRUE(locator.logical);
  EXPECT_EQ(locator.lun, 1);
  EXPECT_EQ(locator.channel, 6);
  EXPECT_EQ(locator.entity, (EntityKey{10, 2}));
  EXPECT_EQ(locator.name, "P2");

  const Bytes controller = {1, 0, 0x51, 0x12, 13, 0x2C, 6, 0, 0x29, 0, 0, 0, 46, 1, 0, 0xC2, 'M', 'E'};
  const ControllerLocator satellite = BodyOf<ControllerLocator>(controller);
  EXPECT_EQ(satellite.address, 0x2C);
  EXPECT_EQ(satellite.channel, 6);
  EXPECT_TRUE(satellite.HasFru());

  using Entities = std::vector<EntityKey>;
  const Bytes list = {1, 0, 0x51, 8, 11, 7, 1, 0x00, 3, 1, 8, 2, 0, 0, 0, 0};
  EXPECT_EQ(BodyOf<EntityAssociation>(list).contained, (Entities{{3, 1}, {8, 2}}));
  const Bytes ranges = {1, 0, 0x51, 8, 11, 7, 1, 0x80, 3, 1, 3, 3, 8, 2, 8, 2};
  EXPECT_EQ(BodyOf<EntityAssociation>(ranges).contained, (Entities{{3, 1}, {3, 2}, {3, 3}, {8, 2}}));
  const Bytes relative = {1, 0, 0x51, 9, 27, 7, 0x60, 0x2C, 0, 0x00, 0x2E, 0, 3, 0x61, 0x2E, 0,
                          8, 2, 0,    0, 0,  0, 0,    0,    0, 0,    0,    0, 0, 0,    0,    0};
  EXPECT_EQ(BodyOf<EntityAssociation>(relative).container, (EntityKey{7, 0x60, 0x2C}));
  EXPECT_EQ(BodyOf<EntityAssociation>(relative).contained, (Entities{{3, 0x61, 0x2E}, {8, 2}}));
  EXPECT_EQ(BodyOf<OtherRecord>(Bytes{1, 0, 0x51, 0xC0, 3, 1, 2, 3}).type, 0xC0);
}

TEST(States, AreTheStandardsWords) {
  const struct {
    u8 eventType;
    u8 sensorType;
    u16 bits;
    std::vector<std::string> words;
    Model::Health health;
  } rows[] = {
      {0x6F, 0x08, 0x0003, {"presence detected", "power supply failure detected"}, Model::Health::Critical},
      {0x6F, 0x0D, 0x8001, {"drive presence"}, Model::Health::Ok},  // bit 15 is reserved
      {0x6F,
       0x0C,
       0x0020,
       {"correctable ECC/other correctable memory error logging limit reached"},
       Model::Health::Warning},
      {0x6F, 0x22, 0x0800, {"legacy ON state"}, Model::Health::Ok},
      {0x0B, 0x08, 0x0002, {"redundancy lost"}, Model::Health::Critical},
      {0x07, 0x01, 0x0040, {"transition to non-recoverable"}, Model::Health::Critical},
      {0x03, 0x15, 0x0002, {"state asserted"}, Model::Health::Unknown},
      {0x6F, 0x29, 0x0000, {}, Model::Health::Ok},
      {0x6F, 0x29, 0x0400, {"state 10"}, Model::Health::Ok},
      {0x71, 0xC5, 0x0005, {"state 0", "state 2"}, Model::Health::Unknown},
  };
  for (const auto& row : rows) {
    const DiscreteStates states = DecodeStates(row.eventType, row.sensorType, row.bits);
    EXPECT_EQ(states.words, row.words);
    EXPECT_EQ(states.health, row.health) << int{row.eventType} << ' ' << int{row.sensorType};
  }
}

TEST(States, CrossedThresholdsGiveTheHealth) {
  for (unsigned bits = 0; bits < 0x100; ++bits) {
    const Model::Health expected = (bits & 0x36) != 0   ? Model::Health::Critical
                                   : (bits & 0x09) != 0 ? Model::Health::Warning
                                                        : Model::Health::Ok;
    EXPECT_EQ(HealthOfCrossed(static_cast<u8>(bits)), expected) << bits;
  }
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
