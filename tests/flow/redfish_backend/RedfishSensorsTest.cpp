#include "redfish_backend/RedfishBackendFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarNfw::NUMERICSENSORS;
using testing::ElementsAre;

constexpr const char* kStandard = "/redfish/v1/Chassis/1/Sensors?$expand=.($levels=1)";
constexpr const char* kOem = "/redfish/v1/Chassis/1/Oem/Tavrik/Sensors?$expand=.($levels=1)";

class RedfishSensorsTest : public RedfishBackendTest {
 protected:
  RedfishSensorsTest() { Log::SetMinLogLevel(0); }
  ~RedfishSensorsTest() override { Log::SetMinLogLevel(1); }

  /// The only sensor of a collection with this one member.
  NUMERICSENSORS Standard(const std::string& member) {
    Json(kStandard, "{\"Members\":[" + member + "]}");
    EXPECT_EQ(backend.GetZMCNumericSensors(list), 0) << member;
    EXPECT_EQ(list.size(), 1u) << member;
    return list.empty() ? NUMERICSENSORS() : list[0];
  }
  NUMERICSENSORS Oem(const std::string& members) {
    Json(kOem, "{\"Members\":[{\"ThresholdLowerCritical\":null," + members + "}]}");
    EXPECT_EQ(backend.GetZMCNumericSensors(list), 0) << members;
    EXPECT_EQ(list.size(), 1u) << members;
    return list.empty() ? NUMERICSENSORS() : list[0];
  }

  std::vector<NUMERICSENSORS> list{3};
};

TEST_F(RedfishSensorsTest, StandardSensorsAreReadWhole) {
  const NUMERICSENSORS sensor =
      Standard(R"({"Id":"t1","Name":"Ambient","Reading":24.5,"ReadingUnits":"Cel","ReadingType":"Temperature",)"
               R"("PhysicalContext":"Intake","Status":{"State":"Enabled","Health":"OK"},"Thresholds":{)"
               R"("LowerFatal":{"Reading":1},"LowerCritical":{"Reading":2},"LowerCaution":{"Reading":3},)"
               R"("UpperCaution":{"Reading":4},"UpperCritical":{"Reading":5},"UpperFatal":{"Reading":6}}})");
  EXPECT_EQ(sensor.ElementName + sensor.DeviceID + sensor.BaseUnits, "Ambientt1Cel");
  EXPECT_EQ(sensor.Description, "Intake:Temperature");
  EXPECT_EQ(sensor.CurrentState + sensor.HealthState, "EnabledOK");
  EXPECT_EQ(sensor.CurrentReading, 24.5F);
  EXPECT_EQ(sensor.LowerThresholdFatal, 1.0F);
  EXPECT_EQ(sensor.LowerThresholdCritical, 2.0F);
  EXPECT_EQ(sensor.LowerThresholdNonCritical, 3.0F);
  EXPECT_EQ(sensor.UpperThresholdNonCritical, 4.0F);
  EXPECT_EQ(sensor.UpperThresholdCritical, 5.0F);
  EXPECT_EQ(sensor.UpperThresholdFatal, 6.0F);
  EXPECT_EQ(sensor.ZMCIndex, 0u);
  EXPECT_EQ(sensor.Caption, "");
}

TEST_F(RedfishSensorsTest, StandardSensorsOfOddShapesReadWell) {
  EXPECT_EQ(Standard(R"({"Thresholds":{},"ReadingUnits":""})").BaseUnits, "Unknown");
  EXPECT_EQ(Standard(R"({"Thresholds":{}})").BaseUnits, "");
  EXPECT_EQ(Standard(R"({"Thresholds":null,"ReadingType":"Power"})").Description, ":Power");
  EXPECT_EQ(Standard(R"({"Thresholds":5,"Status":{"Health":null}})").HealthState, "null");
  EXPECT_EQ(Standard(R"({"Thresholds":[],"Status":{"Health":5,"State":null}})").HealthState, "");
  EXPECT_EQ(Standard(R"({"Thresholds":{},"Status":"OK"})").CurrentState, "");
  EXPECT_EQ(Standard(R"({"Thresholds":{},"Reading":null})").CurrentReading, 0.0F);
  EXPECT_EQ(Standard(R"({"Thresholds":{},"Reading":1e300})").CurrentReading, 0.0F);
  EXPECT_EQ(Standard(R"({"Thresholds":{},"Reading":"5"})").CurrentReading, 0.0F);
  EXPECT_EQ(Standard(R"({"Thresholds":{"LowerFatal":null,"UpperFatal":{}}})").UpperThresholdFatal, 0.0F);
  EXPECT_EQ(Standard(R"({"Thresholds":{},"Name":"cut\u0000here"})").ElementName, "cut");
}

TEST_F(RedfishSensorsTest, StandardSensorsAreThoseWithThresholdsByName) {
  Json(kStandard,
       R"({"Members":[{"Name":"b","Thresholds":{}},{"Name":"none"},{"Name":"ab","Thresholds":{}},)"
       R"({"Name":"a","Thresholds":{}},5,null,{"Name":"B","Thresholds":{}}],"Members@odata.nextLink":"/x"})");
  const LogCapture log;
  EXPECT_EQ(backend.GetZMCNumericSensors(list), 0);
  std::vector<std::string> names;
  for (const NUMERICSENSORS& sensor : list) {
    names.push_back(sensor.ElementName);
  }
  EXPECT_THAT(names, ElementsAre("B", "a", "ab", "b"));
  EXPECT_TRUE(log.Has(4, "skip a sensor as it doesn't have Thresholds"));
  EXPECT_TRUE(log.Has(4, "sensor size: 7"));
  EXPECT_TRUE(log.Has(4, "push sensor abto results"));
  EXPECT_EQ(log.Texts(2).size(), 1u);
  EXPECT_THAT(server.Targets(), ElementsAre(kStandard));
}

TEST_F(RedfishSensorsTest, OemSensorsAreReadWholeAndInOrder) {
  Json(
      kOem,
      R"({"Members":[{"Name":"z","ThresholdLowerCritical":5.0,"ThresholdLowerFatal":4.5,)"
      R"("ThresholdLowerNonCritical":60000000000000000000,"BaseUnit":"1","Reading":2500,"UnitModifier":-2,)"
      R"("RecordType":1,"SensorNumber":2,"OwnerLUN":0,"OwnerID":32,"ReadingType":1,"SensorType":"Temperature",)"
      R"("EntityID":7,"Assertion":"Deassert","State":0},{"Name":"skipped"},{"Name":"a","ThresholdLowerCritical":5}]})");
  const LogCapture log;
  EXPECT_EQ(backend.GetZMCNumericSensors(list), 0);
  ASSERT_EQ(list.size(), 2u);
  const NUMERICSENSORS& sensor = list[0];
  EXPECT_EQ(sensor.ZMCIndex, 3u);
  EXPECT_EQ(sensor.LowerThresholdCritical, 5.0F);
  EXPECT_EQ(sensor.LowerThresholdFatal, 4.5F);
  EXPECT_EQ(sensor.LowerThresholdNonCritical, 6e19F);
  EXPECT_EQ(sensor.CurrentReading, 25.0F);
  EXPECT_EQ(sensor.BaseUnits, "Degrees C");
  EXPECT_EQ(sensor.DeviceID, "1.2.0.32.1");
  EXPECT_EQ(sensor.Caption, "Temperature:z 7");
  EXPECT_EQ(sensor.Description, "Temperature:z 7");
  EXPECT_EQ(sensor.CurrentState + sensor.HealthState, "NormalHealthy");
  EXPECT_EQ(list[1].LowerThresholdCritical, 0.0F);
  EXPECT_THAT(log.Texts(4),
              testing::IsSupersetOf({"No BaseUnit property", "No Reading property", "No DeviceID property",
                                     "No Caption,Description property", "No ThresholdLowerCritical property",
                                     "No ThresholdLowerFatal property", "No Assertion property", "No State property",
                                     "zmcNumSensor.DeviceID1.2.0.32.1"}));
}

TEST_F(RedfishSensorsTest, OemValuesAreMapped) {
  EXPECT_EQ(Oem(R"("Reading":2500,"UnitModifier":2)").CurrentReading, 25.0F);
  EXPECT_EQ(Oem(R"("Reading":2500)").CurrentReading, 2500.0F);
  EXPECT_EQ(Oem(R"("Reading":2500,"UnitModifier":"2")").CurrentReading, 2500.0F);
  EXPECT_EQ(Oem(R"("Reading":2500,"UnitModifier":-2147483648)").CurrentReading, 0.0F);
  EXPECT_EQ(Oem(R"("Reading":25.5)").CurrentReading, 0.0F);
  struct State {
    int bits;
    const char* word;
  };
  for (const auto [bits, word] : {State{1, "Abnormal"},
                                  {0x18, "Critical Failure"},
                                  {0x24, "Completely Failure"},
                                  {6, "Abnormal"},
                                  {0x40, "Healthy"},
                                  {2, "Major Failure"},
                                  {8, "Minor Failure"},
                                  {-1, "Completely Failure"}}) {
    EXPECT_EQ(Oem("\"State\":" + std::to_string(bits)).HealthState, word) << bits;
  }
  for (const auto& [unit, word] : std::map<std::string, std::string>{{"0", "Unknown"},
                                                                     {"92", "grams"},
                                                                     {"93", "Unknown"},
                                                                     {"-1", "Unknown"},
                                                                     {"x", "Unknown"},
                                                                     {"99999999999", "Unknown"},
                                                                     {"58", "PPM (parts/million)"},
                                                                     {"77", "line (re. mem. line)"}}) {
    EXPECT_EQ(Oem("\"BaseUnit\":\"" + unit + "\"").BaseUnits, word) << unit;
  }
  EXPECT_EQ(Oem(R"("Assertion":"Assert")").CurrentState, "Abnormal");
  EXPECT_EQ(Oem(R"("Assertion":"assert")").CurrentState, "Unknown");
}

TEST_F(RedfishSensorsTest, TheSecondCollectionIsAskedOnlyWhenTheFirstFails) {
  struct Case {
    int first;
    int second;
    int code;
  };
  for (const auto [first, second, code] : {Case{401, 401, 13}, {404, 401, 13}, {401, 404, 10}, {404, 500, 10}}) {
    Status(kStandard, first);
    Status(kOem, second);
    EXPECT_EQ(backend.GetZMCNumericSensors(list), code) << first << " " << second;
    EXPECT_TRUE(list.empty());
  }
  for (const char* body : {"", "[]", "{}", R"({"Members":{}})", R"({"Members":[]})"}) {
    Json(kOem, body);
    EXPECT_EQ(backend.GetZMCNumericSensors(list), 10) << body;
  }
  const std::size_t before = server.Requests().size();
  for (const char* body : {"", "[]", "{}", R"({"Members":{}})", R"({"Members":[]})"}) {
    Json(kStandard, body);
    EXPECT_EQ(backend.GetZMCNumericSensors(list), 10) << body;
  }
  EXPECT_EQ(server.Requests().size() - before, 5u);
}

}  // namespace
}  // namespace Kelvar::Test
