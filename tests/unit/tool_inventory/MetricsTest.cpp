#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/kelvar/metrics/InventoryMetrics.h"
#include "unit/tool_inventory/SampleReport.h"

namespace Kelvar::Tool {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(InventoryMetrics, AreNamedByWhatTheyMeasure) {
  const std::string text = MetricsText(Kelvar::Test::SampleReport(), {});
  for (
      const char* const line : {
          "kelvar_up 1\n",
          "kelvar_health 2\n",
          "kelvar_probe_cause{cause=\"unreachable\"} 0\n",
          "kelvar_probe_family_complete{family=\"logs\"} 0\n",
          "kelvar_temperature_celsius{name=\"Inlet\",parent=\"chassis/1\",context=\"intake\"} 24.5\n",
          R"(kelvar_temperature_celsius_threshold{name="Inlet",parent="chassis/1",context="intake",level="upper_critical"} 46)",
          "kelvar_fan_speed_rpm{name=\"Fan 3 Tach\",parent=\"\",context=\"\"} 0\n",
          "kelvar_fan_speed_rpm{name=\"Fan 3 Tach #2\",parent=\"\",context=\"\"} 0\n",
          "kelvar_sensor_health{name=\"Fan 3 Tach\",parent=\"\",context=\"\"} 2\n",
          "kelvar_system_power_state{name=\"Node 7\",kind=\"system\"} 1\n",
          "kelvar_led_lit{name=\"Locate\",parent=\"chassis/1\",purpose=\"locate\"} 1\n",
          "kelvar_log_entries{log=\"systems/1/log\",severity=\"critical\"} 1\n",
          "kelvar_log_newest_entry_timestamp_seconds{log=\"systems/1/log\",severity=\"critical\"} 1773994500\n",
      }) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  EXPECT_THAT(text, Not(HasSubstr("PSU 2")));  // absent
}

TEST(InventoryMetrics, AreBoundedAndNeverTwice) {
  InventoryReport report = Kelvar::Test::SampleReport();
  report.inventory.sensors.assign(2100, report.inventory.sensors.front());
  EXPECT_THAT(MetricsText(report, {}), HasSubstr("kelvar_probe_dropped_items 100\n"));
}

TEST(InventoryMetrics, TellRecordsOfOneNameApartHoweverLongItIs) {
  InventoryReport report = Kelvar::Test::SampleReport();
  report.inventory.sensors.assign(3, report.inventory.sensors.front());
  for (Model::Sensor& sensor : report.inventory.sensors) {
    sensor.name = std::string(1000, 'x');
  }
  const std::string text = MetricsText(report, {});
  EXPECT_THAT(text, HasSubstr("{name=\"" + std::string(128, 'x') + "\","));
  EXPECT_THAT(text, HasSubstr("{name=\"" + std::string(112, 'x') + " #2\","));
  EXPECT_THAT(text, HasSubstr("{name=\"" + std::string(112, 'x') + " #3\","));
}

TEST(InventoryMetrics, AreUpOnlyWhenSomethingWasRead) {
  InventoryReport report;
  report.families = {Model::Family::System};
  report.inventory.ResultOf(Model::Family::System) = {Model::FamilyStatus::Failed, FailureCause::NotSuchService, ""};
  report.cause = FailureCause::NotSuchService;
  Conclude(report);
  const std::string text = MetricsText(report, {false, 12.5});
  EXPECT_THAT(text, HasSubstr("kelvar_up 0\n"));
  EXPECT_THAT(text, HasSubstr("kelvar_probe_cause{cause=\"not_such_service\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("kelvar_probe_finished 0\n"));
  EXPECT_THAT(text, HasSubstr("kelvar_probe_data_age_seconds 12.5\n"));
  EXPECT_THAT(text, Not(HasSubstr("kelvar_health")));
}

}  // namespace
}  // namespace Kelvar::Tool
