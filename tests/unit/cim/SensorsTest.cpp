#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarNfw::INDICATORLEDS;
using KelvarNfw::NUMERICSENSORS;

class Sensors : public CimFixture {
 protected:
  int ReadSensors(const std::string& instances) {
    server.OnClass("CIM_NumericSensor", instances);
    sensors.assign(1, {});
    return Facade()->GetZMCNumericSensors(sensors);
  }
  /// One sensor with one property.
  NUMERICSENSORS ReadSensor(const CimProperty& property) {
    EXPECT_EQ(ReadSensors(CimInstanceXml("CIM_NumericSensor", {property})), 0);
    return sensors.at(0);
  }

  std::vector<NUMERICSENSORS> sensors;
};

TEST_F(Sensors, LedNumbersBecomeWords) {
  std::string instances;
  for (int number = 0; number <= 6; ++number) {
    const std::string text = std::to_string(number);
    instances += CimInstanceXml("CIM_IndicatorLED", {{"ActivationState", "uint16", text},
                                                     {"DefaultActivationState", "uint16", text},
                                                     {"ControlMode", "uint16", text}});
  }
  instances += CimInstanceXml("CIM_IndicatorLED", {{"DeviceID", "string", "id"},
                                                   {"ElementName", "string", "power"},
                                                   {"OtherIdentifyinginfo", "string[]", "[front|left]"},
                                                   {"ActivationState", "uint16", std::nullopt},
                                                   {"ControlMode", "uint16", std::nullopt}});
  server.OnClass("CIM_IndicatorLED", instances);
  std::vector<INDICATORLEDS> leds(1);
  ASSERT_EQ(Facade()->GetZMCIndicatorLED(leds), 0);
  ASSERT_EQ(leds.size(), 8U);
  const char* const activation[] = {"Unknown", "Unknown", "Lit", "Blinking", "Off", "ControlPattern", "Unknown"};
  const char* const control[] = {"Unknown", "Unknown", "Automatic", "Manual", "Test Mode", "Unknown", "Unknown"};
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(leds[i].ActivationState, activation[i]) << i;
    EXPECT_EQ(leds[i].DefaultActivationState, activation[i]) << i;
    EXPECT_EQ(leds[i].ControlMode, control[i]) << i;
    EXPECT_EQ(leds[i].ZMCIndex, 2U);
  }
  EXPECT_EQ(leds[7].DeviceID + leds[7].ElementName + leds[7].OtherIdentifyingInfo, "idpowerfront left ");
  EXPECT_EQ(leds[7].ActivationState + leds[7].ControlMode, "UnknownUnknown") << "null";
}

TEST_F(Sensors, EveryFieldOfASensor) {
  ASSERT_EQ(ReadSensors(CimInstanceXml("CIM_NumericSensor", {{"BaseUnits", "uint16", "5"},
                                                             {"CurrentReading", "sint32", "12345"},
                                                             {"UnitModifier", "sint32", "-3"},
                                                             {"LowerThresholdCritical", "sint32", "100"},
                                                             {"LowerThresholdFatal", "sint32", "-200"},
                                                             {"LowerThresholdNonCritical", "sint32", "300"},
                                                             {"UpperThresholdCritical", "sint32", "400"},
                                                             {"CurrentState", "string", "Normal"},
                                                             {"DeviceID", "string", "id"},
                                                             {"Caption", "string", "caption"},
                                                             {"Description", "string", "text"},
                                                             {"ElementName", "string", "CMOS"},
                                                             {"HealthState", "uint16", "5"}}) +
                        CimInstanceXml("CIM_NumericSensor",
                                       {{"ElementName", "string", "next"}, {"UnitModifier", "sint32", "1"}})),
            0);
  ASSERT_EQ(sensors.size(), 2U);
  const NUMERICSENSORS& s = sensors[0];
  EXPECT_EQ(s.BaseUnits + s.CurrentState + s.DeviceID + s.Caption + s.Description + s.ElementName + s.HealthState,
            "VoltsNormalidcaptiontextCMOSHealthy");
  EXPECT_FLOAT_EQ(s.CurrentReading, 12.345F);
  EXPECT_EQ(s.LowerThresholdCritical, 100.0F) << "thresholds are not scaled";
  EXPECT_EQ(s.LowerThresholdFatal, -200.0F);
  EXPECT_EQ(s.LowerThresholdNonCritical, 300.0F);
  EXPECT_EQ(s.UpperThresholdCritical, 0.0F) << "not read";
  EXPECT_EQ(sensors[1].CurrentReading, s.CurrentReading) << "repeats the sensor before it";
  EXPECT_EQ(sensors[1].ElementName, "next");
}

TEST_F(Sensors, ReadingsAreDividedWhateverTheSignOfTheModifier) {
  const struct {
    const char* reading;
    std::optional<std::string> modifier;
    float value;
  } cases[] = {
      {"2450", "-2", 24.5F}, {"2450", "2", 24.5F}, {"2450", "0", 2450},         {"-300", "-1", -30},
      {"2450", "400", 0},    {"0", "400", 0},      {"16777217", "0", 16777216},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(ReadSensors(CimInstanceXml("CIM_NumericSensor", {{"CurrentReading", "sint32", c.reading},
                                                               {"UnitModifier", "sint32", c.modifier}})),
              0);
    EXPECT_EQ(sensors[0].CurrentReading, c.value) << c.reading << " " << *c.modifier;
  }
  EXPECT_EQ(ReadSensor({"CurrentReading", "sint32", "2450"}).CurrentReading, 2450.0F);
  EXPECT_EQ(ReadSensor({"CurrentReading", "sint32", std::nullopt}).CurrentReading, 0.0F);
}

TEST_F(Sensors, UnitsAndHealthBands) {
  for (const auto& [number, word] :
       {std::pair("0", "Unknown"), std::pair("2", "Degrees C"), std::pair("19", "RPM"), std::pair("66", "Pascals"),
        std::pair("67", "Unknown"), std::pair("65535", "Unknown")}) {
    EXPECT_EQ(ReadSensor({"BaseUnits", "uint16", number}).BaseUnits, word) << number;
  }
  EXPECT_EQ(ReadSensor({"BaseUnits", "uint16", std::nullopt}).BaseUnits, "Unknown");
  for (const auto& [number, word] :
       {std::pair("0", "Healthy"), std::pair("5", "Healthy"), std::pair("6", "Abnormal"), std::pair("10", "Abnormal"),
        std::pair("11", "Minor Failure"), std::pair("15", "Minor Failure"), std::pair("16", "Major Failure"),
        std::pair("21", "Critical Failure"), std::pair("26", "Completely Failure"),
        std::pair("30", "Completely Failure"), std::pair("31", "Abnormal")}) {
    EXPECT_EQ(ReadSensor({"HealthState", "uint16", number}).HealthState, word) << number;
  }
  EXPECT_EQ(ReadSensor({"HealthState", "uint16", std::nullopt}).HealthState, "") << "never healthy from nothing";
}

TEST_F(Sensors, AnotherTypeEndsTheWalk) {
  const std::string good = CimInstanceXml("CIM_NumericSensor", {{"ElementName", "string", "good"}});
  for (const CimProperty& bad :
       {CimProperty{"CurrentReading", "uint32", "1"}, CimProperty{"BaseUnits", "uint32", std::nullopt},
        CimProperty{"HealthState", "uint16[]", "[5]"}}) {
    EXPECT_EQ(ReadSensors(good + CimInstanceXml("CIM_NumericSensor", {bad}) + good), 9) << bad.name;
    EXPECT_EQ(sensors.size(), 1U);
  }
}

}  // namespace
}  // namespace Kelvar::Test
