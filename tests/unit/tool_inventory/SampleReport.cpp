#include "unit/tool_inventory/SampleReport.h"

namespace Kelvar::Test {

namespace {

Model::System SampleSystem() {
  return {"systems/1", "system",
          "Node 7",    "Tavrik",
          "RX 2",      "PN1",
          "SKU1",      "SN7",
          "AT7",       "30313233-3435-3637-3839-414243444546",
          "node7",     "2.10",
          "5.01",      "on",
          "enabled",   "warning",
          "Degraded",  "2026-03-20T08:15:00Z",
          3600.5};
}

Model::Component SampleDrive() {
  return {"chassis/1/drives/3",
          "chassis/1",
          "drive",
          "Bay 3",
          "front",
          "Orlin",
          "D4",
          "PN2",
          "SPN2",
          "SN2",
          "AT2",
          "1.1",
          "enabled",
          "ok",
          "Fine",
          u64{3'840'755'982'336},
          1.0,
          12000.0,
          4U,
          8U,
          "ssd",
          "nvme",
          91.5,
          25.0,
          "02:00:00:00:00:07"};
}

Model::Sensor SampleTemperature() {
  return {"chassis/1/sensors/inlet",
          "Inlet",
          "temperature",
          24.5,
          "Cel",
          2.0,
          5.0,
          8.0,
          43.0,
          46.0,
          50.0,
          -10.0,
          120.0,
          "enabled",
          "ok",
          "Fine",
          "intake",
          "chassis/1",
          {"in range"}};
}

Model::Sensor SampleFan() {
  Model::Sensor fan;
  fan.id = "chassis/1/sensors/fan3";
  fan.name = "Fan 3 Tach";
  fan.kind = "fan";
  fan.reading = 0;
  fan.unit = "{rev}/min";
  fan.lower_critical = 1200;
  fan.state = "enabled";
  return fan;
}

Model::Component SampleSupply() {
  Model::Component supply;
  supply.id = "chassis/1/power/2";
  supply.kind = "power_supply";
  supply.name = "PSU 2";
  supply.state = "absent";
  supply.health = "critical";  // of nothing
  return supply;
}

}  // namespace

Tool::InventoryReport SampleReport() {
  Tool::InventoryReport report;
  report.target = "redfish://192.0.2.7";
  report.protocol = "redfish";
  report.families.assign(Model::kAllFamilies.begin(), Model::kAllFamilies.end());
  report.all_families = true;
  Model::Inventory& inventory = report.inventory;
  for (const Model::Family family : report.families) {
    inventory.ResultOf(family).status = Model::FamilyStatus::Complete;
  }
  inventory.ResultOf(Model::Family::Logs) = {Model::FamilyStatus::Partial, FailureCause::BadData, "one log failed"};
  inventory.systems = {SampleSystem()};
  inventory.firmware = {{"firmware/1", "=BIOS, \"A\"", "bios", "U30 v2.44 (01/2026)", "2026-01-09T00:00:00Z", "primary",
                         true, "enabled", "systems/1"}};
  inventory.components = {SampleSupply(), SampleDrive()};
  inventory.sensors = {SampleTemperature(), SampleFan(), SampleFan()};
  inventory.leds = {{"chassis/1/led", "Locate", "chassis/1", "locate", "blinking"}};
  inventory.log_entries = {{"systems/1/log",
                            "12",
                            "2026-03-20T09:15:00+01:00",
                            "critical",
                            "CPU \x1b[31m1\nshut down",
                            "Base.1.0.Down",
                            {"CPU 1"},
                            "cpu1",
                            false}};
  inventory.network_interfaces = {{"manager",
                                   "managers/1/eth0",
                                   "eth0",
                                   "02:00:00:00:00:01",
                                   "up",
                                   1000.0,
                                   7U,
                                   "bmc7",
                                   "bmc7.example",
                                   true,
                                   {{"192.0.2.7", 24U, "ipv4", "dhcp", "192.0.2.1"}},
                                   {"192.0.2.53"}}};
  inventory.network_services = {{"https", true, 443U}};
  Tool::Conclude(report);
  return report;
}

}  // namespace Kelvar::Test
