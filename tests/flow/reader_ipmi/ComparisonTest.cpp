// What the reader finds on a simulated machine, against what ipmitool and FreeIPMI find there.

#include <array>
#include <map>

#include "flow/reader_ipmi/ForeignComparison.h"

namespace Kelvar::Test {
namespace {

using Model::Family;
using Model::FamilyStatus;

Model::Inventory Read(const BmcSim& sim, InventoryReaderOptions options = {}) {
  return InventoryReader(IpmiInfo(sim.Port("ipmi")), std::move(options)).Read();
}

using Thresholds = std::array<std::optional<double>, 6>;

Thresholds ThresholdsOf(const Model::Sensor& sensor) {
  return {sensor.lower_fatal,   sensor.lower_critical, sensor.lower_caution,
          sensor.upper_caution, sensor.upper_critical, sensor.upper_fatal};
}

TEST_F(Comparison, SensorsAgreeWithIpmitool) {
  const std::map<std::string, std::string> units = {
      {"degrees C", "Cel"}, {"percent", "%"},   {"Volts", "V"},        {"RPM", "{rev}/min"},   {"Watts", "W"},
      {"Amps", "A"},        {"lux", "lx"},      {"Hz", "Hz"},          {"CFM", "[cft_i]/min"}, {"Joules", "J"},
      {"kPa", "kPa"},       {"Decibels", "dB"}, {"megabyte", "MBy/s"}, {"millisecond", "ms"},  {"", ""}};
  std::size_t compared = 0;
  for (const Words& row : Table(IpmiTool({"-c", "sensor", "list"}), ',')) {
    const Model::Sensor* sensor = row.size() == 10 ? SensorNamed(row[0]) : nullptr;
    if (sensor == nullptr || sensor->kind == "discrete" || !sensor->states.empty()) {
      continue;  // it names shared sensors by their record alone, and shows the raw byte of states
    }
    ++compared;
    ExpectNumber(row[1], sensor->reading, 0.0005001, row[0]);
    if (sensor->reading) {
      EXPECT_EQ(units.at(row[2]), sensor->unit) << row[0];
    }
    const std::map<std::string, std::string> health = {
        {"ok", "ok"}, {"nc", "warning"}, {"cr", "critical"}, {"nr", "critical"}, {"na", ""}};
    EXPECT_EQ(health.at(row[3]), sensor->health) << row[0];
    const Thresholds thresholds = ThresholdsOf(*sensor);
    for (std::size_t at = 0; at < thresholds.size(); ++at) {
      ExpectNumber(row[4 + at], thresholds[at], 0.0005001, row[0] + " threshold " + std::to_string(at));
    }
  }
  EXPECT_EQ(compared, 72U);
}

TEST_F(Comparison, SensorsAgreeWithFreeIpmi) {
  const std::map<std::string, std::string> health = {
      {"Nominal", "ok"}, {"Warning", "warning"}, {"Critical", "critical"}, {"N/A", ""}};
  std::size_t compared = 0;
  const Words request{"--sdr-cache-recreate",       "--comma-separated-output", "--no-header-output",
                      "--output-sensor-thresholds", "--output-sensor-state",    "--shared-sensors"};
  for (const Words& row : Table(FreeIpmi("ipmi-sensors", request), ',')) {
    ASSERT_GE(row.size(), 12U);
    const std::string name = Squeezed(row[1]);
    const Model::Sensor* sensor = SensorNamed(name);
    if (name == "Bay A") {
      continue;  // it gives this name to all four
    }
    ASSERT_NE(sensor, nullptr) << name;
    ++compared;
    if (sensor->states.empty()) {
      ExpectNumber(row[4], sensor->reading, 0.005001, name);
    }
    // Judged otherwise there: a crossed non-critical threshold, and a state that only the sensor's name explains.
    if (name != "CPU 2 Temp" && name != "Thermal Trip") {
      EXPECT_EQ(health.at(row[3]), sensor->health) << name;
    }
    const Thresholds thresholds = ThresholdsOf(*sensor);
    for (std::size_t at = 0; at < thresholds.size(); ++at) {
      ExpectNumber(row[6 + at], thresholds[at], 0.005001, name + " threshold " + std::to_string(at));
    }
  }
  EXPECT_EQ(compared, 96U);
  EXPECT_EQ(inventory_.sensors.size(), 100U);
  EXPECT_EQ(inventory_.ResultOf(Family::Sensors).status, FamilyStatus::Complete);
}

TEST_F(Comparison, TheEventLogAgreesWithBoth) {
  const auto ours = inventory_.log_entries;
  const auto rows = Table(IpmiTool({"-c", "sel", "elist"}), ',');
  ASSERT_EQ(rows.size(), ours.size());
  for (std::size_t at = 0; at < rows.size(); ++at) {
    const Words& row = rows[at];
    EXPECT_EQ(std::stoul(row[0], nullptr, 16), std::stoul(ours[at].id));
    if (row[1].find('/') != std::string::npos) {
      const std::string date = "20" + row[1].substr(6, 2) + "-" + row[1].substr(0, 2) + "-" + row[1].substr(3, 2);
      EXPECT_EQ(ours[at].created, date + "T" + row[2].substr(0, 8) + "+01:00");
    } else {
      EXPECT_EQ(ours[at].created, "");
    }
    const bool deasserted = ours[at].message.find(", deasserted") != std::string::npos;
    EXPECT_EQ(row.size() > 5 && row[5] == "Deasserted", deasserted) << ours[at].message;
  }
  const auto others = Table(FreeIpmi("ipmi-sel", {"--comma-separated-output", "--no-header-output"}), ',');
  ASSERT_EQ(others.size(), ours.size());
  for (std::size_t at = 0; at < others.size(); ++at) {
    if (!ours[at].source.empty() && at > 0) {  // the first entry's sensor has no record
      EXPECT_EQ(Squeezed(others[at][3]), ours[at].source);
    }
  }
  EXPECT_EQ(ours[1].message, "CPU 2 Temp: upper non-critical going high (reading 86 Cel, threshold 85 Cel)");
  EXPECT_EQ(ours[3].resolved, true);
}

TEST_F(Comparison, FruDevicesAgreeWithIpmitool) {
  const std::map<std::string, std::string Model::Component::*> fields = {
      {"Board Mfg", &Model::Component::manufacturer},
      {"Board Product", &Model::Component::model},
      {"Board Serial", &Model::Component::serial_number},
      {"Board Part Number", &Model::Component::part_number},
      {"Product Manufacturer", &Model::Component::manufacturer},
      {"Product Name", &Model::Component::model},
      {"Product Serial", &Model::Component::serial_number},
      {"Product Part Number", &Model::Component::part_number}};
  std::size_t compared = 0;
  for (const char* device : {"0", "1", "2", "3", "6"}) {
    const Model::Component* component = nullptr;
    for (const Model::Component& candidate : inventory_.components) {
      component = candidate.id == std::string("fru-") + device ? &candidate : component;
    }
    ASSERT_NE(component, nullptr) << device;
    for (const Words& row : Table(IpmiTool({"fru", "print", device}), ':')) {
      const auto field = fields.find(row.empty() ? "" : row[0]);
      const bool ofSystem = std::string(device) == "0" && row[0].rfind("Product", 0) == 0;
      if (field == fields.end() || row.size() < 2 || ofSystem) {
        continue;
      }
      const bool placeholder = row[1] == "N/A" || row[1] == "To be filled by O.E.M.";
      EXPECT_EQ(component->*field->second, placeholder ? "" : row[1]) << device << ' ' << row[0];
      ++compared;
    }
  }
  EXPECT_EQ(compared, 20U);
  EXPECT_EQ(inventory_.systems.at(0).serial_number, "CRK2U-000017");
}

TEST_F(Comparison, TheNetworkAgreesWithIpmitool) {
  std::map<std::string, std::string> printed;
  const std::string text = IpmiTool({"lan", "print", "1"});
  for (const Words& row : Table(text, '\t')) {
    const std::size_t colon = row.empty() ? std::string::npos : row[0].find(" : ");
    if (colon != std::string::npos) {
      printed[Squeezed(row[0].substr(0, colon) + " ")] = row[0].substr(colon + 3);
    }
  }
  const Model::NetworkInterface& lan = inventory_.network_interfaces.at(0);
  EXPECT_EQ(printed["IP Address "], lan.addresses.at(0).address);
  EXPECT_EQ(printed["MAC Address "], lan.mac_address);
  EXPECT_EQ(printed["Default Gateway IP "], lan.addresses.at(0).gateway);
  EXPECT_EQ(printed["802.1q VLAN ID "], std::to_string(lan.vlan.value_or(0)));
  EXPECT_EQ(printed["Subnet Mask "], "255.255.255.0");
  EXPECT_EQ(lan.addresses.at(0).prefix_length, 24U);
  EXPECT_EQ(lan.addresses.size(), 4U);
  EXPECT_EQ(inventory_.network_interfaces.size(), 2U);
}

struct FaultCase {
  const char* fault;
  Family family;
  FamilyStatus status;
  const char* reason;
};

class Faults : public testing::TestWithParam<FaultCase> {};

TEST_P(Faults, CostNoMoreThanThemselves) {
  const FaultCase& fault = GetParam();
  const BmcSim sim("many-sensors", {"--serve", "ipmi", "--fault", std::string("ipmi:") + fault.fault});
  InventoryReaderOptions options;
  options.sdr_cache = false;
  const Model::Inventory inventory = Read(sim, options);
  EXPECT_EQ(inventory.ResultOf(fault.family).status, fault.status) << inventory.ResultOf(fault.family).reason;
  EXPECT_EQ(inventory.ResultOf(fault.family).reason, fault.reason);
  EXPECT_EQ(inventory.ResultOf(Family::Network).status, FamilyStatus::Complete);
  if (fault.status == FamilyStatus::Complete) {
    EXPECT_EQ(inventory.sensors.size(), 100U);
  }
}

const FaultCase kFaults[] = {
    {"lost-reservations", Family::Sensors, FamilyStatus::Complete, ""},
    {"short-pieces", Family::Sensors, FamilyStatus::Complete, ""},
    {"circle", Family::Sensors, FamilyStatus::Partial,
     "sensor data records: the chain does not end: record 2 follows again"},
    {"hung-fru", Family::Components, FamilyStatus::Partial,
     "FRU device 2 (PSU 2 FRU): completion code 0xc0 (and 1 more)"},
    {"no-privilege", Family::Logs, FamilyStatus::Failed, "event log: the privilege does not suffice"},
    {"no-log", Family::Logs, FamilyStatus::Absent, "the target has none"},
};

INSTANTIATE_TEST_SUITE_P(All, Faults, testing::ValuesIn(kFaults));

TEST(LongLog, IsReadWholeAndByItsEnd) {
  const BmcSim sim("many-sensors", {"--serve", "ipmi", "--fault", "ipmi:long-log"});
  InventoryReader reader(IpmiInfo(sim.Port("ipmi")));
  const Model::Inventory all = reader.Read({Family::Logs});
  ASSERT_EQ(all.log_entries.size(), 3000U);
  EXPECT_EQ(all.ResultOf(Family::Logs).status, FamilyStatus::Complete);

  InventoryReaderOptions options;
  options.log_limit = 5;
  options.newest_first = true;
  InventoryReader newest(IpmiInfo(sim.Port("ipmi")), options);
  const Model::Inventory last = newest.Read({Family::Logs});
  ASSERT_EQ(last.log_entries.size(), 5U);
  EXPECT_EQ(last.log_entries[0].id, "3000");
  EXPECT_EQ(last.log_entries[4].message, all.log_entries[2995].message);
}

}  // namespace
}  // namespace Kelvar::Test
