#include <gtest/gtest.h>
#include <kelvar/Inventory.h>

namespace Kelvar::Model {
namespace {

Inventory ReadInventory() {
  Inventory inventory;
  inventory.ResultOf(Family::Sensors).status = FamilyStatus::Complete;
  return inventory;
}

TEST(Verdict, AMachineWithoutFindingsIsOk) {
  EXPECT_EQ(Judge(Inventory{}).health, Health::Unknown);
  EXPECT_EQ(Judge(ReadInventory()).health, Health::Ok);
}

TEST(Verdict, SensorsAreJudgedByTheirBounds) {
  Inventory inventory = ReadInventory();
  Sensor sensor;
  sensor.id = "Chassis/1/Sensors/Fan3";
  sensor.name = "Fan 3";
  sensor.unit = "{rev}/min";
  sensor.reading = 1100;
  sensor.lower_caution = 1350;
  sensor.lower_critical = 1200;
  sensor.health = "ok";
  inventory.sensors.push_back(sensor);
  const Verdict verdict = Judge(inventory);
  ASSERT_EQ(verdict.reasons.size(), 1U);
  EXPECT_EQ(verdict.health, Health::Critical);
  EXPECT_EQ(verdict.reasons[0].text, "Fan 3 1100 rpm, below 1200");
  for (const char* const state : {"absent", "disabled", "unavailable_offline", "standby_offline"}) {
    inventory.sensors[0].state = state;
    EXPECT_EQ(Judge(inventory).health, Health::Ok) << state;
  }
  inventory.sensors[0].state = "enabled";
  inventory.sensors[0].reading = 1200;  // not below
  EXPECT_EQ(Judge(inventory).health, Health::Warning);
}

TEST(Verdict, ReasonsSayWhatIsWrong) {
  Inventory inventory = ReadInventory();
  Sensor supply;
  supply.name = "PS1";
  supply.health = "critical";
  supply.states = {"presence detected", "power supply failure detected"};
  Sensor warm;
  warm.name = "Inlet";
  warm.unit = "Cel";
  warm.reading = 24.600000381469727;
  warm.upper_caution = 1.2100000000000002;
  Sensor energy;
  energy.name = "Meter";
  energy.reading = 123456789;
  energy.upper_caution = 1e6;
  inventory.sensors = {supply, warm, energy};
  System system;
  system.name = "Host";
  system.health = "critical";
  system.health_text = "fan fault";
  inventory.systems = {system};
  std::string text;
  for (const VerdictReason& reason : Judge(inventory).reasons) {
    text += reason.text + '\n';
  }
  EXPECT_EQ(text,
            "Host: health critical (fan fault)\nPS1: presence detected, power supply failure detected\n"
            "Inlet 24.6 °C, above 1.21\nMeter 123456789, above 1000000\n");
}

TEST(Verdict, TheWorstReasonStandsFirst) {
  Inventory inventory = ReadInventory();
  inventory.ResultOf(Family::Logs) = {FamilyStatus::Partial, FailureCause::Deadline, "late"};
  Component fan;
  fan.id = "fan";
  fan.health = "warning";
  Component bay = fan;
  bay.state = "absent";
  Component other = fan;
  fan.name = other.name = "Fan";
  other.id = "other";
  inventory.components = {fan, other, bay};
  LogEntry open;
  open.severity = "critical";
  open.message = "m";
  open.resolved = false;
  LogEntry old = open;
  old.resolved.reset();
  inventory.log_entries = {open, open, old};
  const Verdict verdict = Judge(inventory);
  ASSERT_EQ(verdict.reasons.size(), 4U);
  EXPECT_EQ(verdict.reasons[0].family, "logs");
  EXPECT_EQ(verdict.reasons[1].id, "fan");
  EXPECT_EQ(verdict.reasons[2].text, "Fan: health warning (other)");
  EXPECT_EQ(verdict.reasons[3].text, "logs: read in part: late");
  EXPECT_EQ(verdict.reasons[3].health, Health::Unknown);
}

TEST(Verdict, AReadingThatEndedEarlyDoesNotMakeAMachineOk) {
  Inventory inventory = ReadInventory();
  FamilyResult& components = inventory.ResultOf(Family::Components);
  for (const FailureCause cause : {FailureCause::Deadline, FailureCause::Unreachable}) {
    components = {FamilyStatus::Partial, cause, "late"};
    EXPECT_EQ(Judge(inventory).health, Health::Unknown);
  }
  components.cause = FailureCause::BadData;  // a record of many
  EXPECT_EQ(Judge(inventory).health, Health::Ok);
  inventory.ResultOf(Family::Logs) = {FamilyStatus::Partial, FailureCause::Deadline, "late"};
  EXPECT_EQ(Judge(inventory).health, Health::Ok);
}

TEST(Verdict, AChassisAmongBothListsCountsOnce) {
  Inventory inventory = ReadInventory();
  System chassis;
  chassis.id = "Chassis/1";
  chassis.health = "critical";
  inventory.systems.push_back(chassis);
  Component same;
  same.id = "Chassis/1";
  same.health = "critical";
  inventory.components.push_back(same);
  EXPECT_EQ(Judge(inventory).reasons.size(), 1U);
}

}  // namespace
}  // namespace Kelvar::Model
