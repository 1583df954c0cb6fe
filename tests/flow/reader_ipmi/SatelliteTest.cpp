// Satellite controllers of a simulated machine, as the reader finds them and as ipmitool and FreeIPMI do.

#include <map>

#include <gtest/gtest.h>

#include <kelvar/InventoryReader.h>

#include "support/BmcSim.h"
#include "support/ForeignIpmi.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Test {
namespace {

using Model::Family;
using Model::FamilyStatus;
using Words = std::vector<std::string>;

Model::Inventory ReadAll(const BmcSim& sim) {
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_IPMI_LAN;
  info.Host = "127.0.0.1";
  info.Port = sim.Port("ipmi");
  info.UserName = "admin";
  info.Password = "kelvar-demo";
  info.RemoteSessionArgument = 3;
  InventoryReaderOptions options;
  options.sdr_cache = false;
  return InventoryReader(info, options).Read();
}

std::map<std::string, double> ReadingsOf(const Model::Inventory& inventory) {
  std::map<std::string, double> readings;
  for (const Model::Sensor& sensor : inventory.sensors) {
    if (sensor.reading) {
      readings[sensor.name] = *sensor.reading;
    }
  }
  return readings;
}

const std::map<std::string, double> kAll = {{"Inlet Temp", 23},  {"Unit 1 Temp", 24},   {"Unit 3 Temp", 25},
                                            {"Node Temp", 47},   {"Node Power", 160},   {"Swapped Temp", 48},
                                            {"Swapped Hot", 72}, {"Embedded Temp", 49}, {"Far Temp 1", 40},
                                            {"Far Temp 2", 40},  {"Far Temp 3", 40},    {"Riser Temp", 33}};

TEST(Satellites, AgreeWithForeignTools) {
  const BmcSim sim("satellites", {"--serve", "ipmi"});
  const Model::Inventory inventory = ReadAll(sim);
  EXPECT_EQ(ReadingsOf(inventory), kAll);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).reason,
            "sensors of controller 0x78: 1 not read: not handed on: completion code 0x83");
  for (const Model::Sensor& sensor : inventory.sensors) {
    EXPECT_EQ(sensor.states, sensor.name == "Node Health" ? Words{"drive presence"} : Words());
    EXPECT_EQ(sensor.health, sensor.name == "Swapped Hot" ? "warning" : sensor.name == "Missing Temp" ? "" : "ok");
  }
  EXPECT_EQ(inventory.sensors.size(), kAll.size() + 2);

  // It takes no reply that comes before the acknowledgement.
  for (const char* name : {"Unit 1 Temp", "Unit 3 Temp", "Node Temp", "Node Power", "Embedded Temp"}) {
    const std::string text = RunIpmiTool(sim, {"sdr", "get", name}).output;
    const std::size_t reading = text.find("Sensor Reading        : ");
    ASSERT_NE(reading, std::string::npos) << name << text;
    EXPECT_EQ(std::stod(text.substr(reading + 24)), kAll.at(name)) << name;
  }
  const std::string fru = RunIpmiTool(sim, {"-t", "0x2c", "fru", "print", "0"}).output;
  for (const Model::Component& component : inventory.components) {
    if (component.id == "fru-2c-0-00") {
      EXPECT_NE(fru.find("Product Name          : " + component.model + '\n'), std::string::npos) << fru;
      EXPECT_NE(fru.find("Product Serial        : " + component.serial_number), std::string::npos) << fru;
      EXPECT_EQ(component.model, "Node Manager 7");
    }
    EXPECT_EQ(component.serial_number == "R2000042", component.id == "fru-20-0-a4");
    EXPECT_EQ(component.state == "absent", component.id == "fru-20-0-a6");
  }
  EXPECT_EQ(inventory.components.size(), 4U);
  EXPECT_EQ(inventory.ResultOf(Family::Components).status, FamilyStatus::Complete);
  // It takes no reply inside of the acknowledgement.
  const TemporaryFolder folder;
  const std::string text =
      RunFreeIpmi("ipmi-sensors", sim,
                  {"--quiet-cache", "--sdr-cache-recreate", "--sdr-cache-directory=" + folder.Path().string(),
                   "--bridge-sensors", "--record-ids=9,10,12,13", "--comma-separated-output", "--no-header-output"})
          .output;
  for (const char* row : {"9,Node Temp,Temperature,47.00,C", "10,Node Power,Other Units Based Sensor,160.00,W",
                          "12,Swapped Temp,Temperature,48.00,C", "13,Swapped Hot,Temperature,72.00,C"}) {
    EXPECT_NE(text.find(row), std::string::npos) << row << '\n' << text;
  }
}

TEST(Satellites, ABusyBusIsAskedAgain) {
  const BmcSim sim("satellites", {"--serve", "ipmi", "--fault", "ipmi:busy-bus"});
  EXPECT_EQ(ReadingsOf(ReadAll(sim)), kAll);
}

TEST(Satellites, OneThatIsMuteCostsItself__slow) {
  const BmcSim sim("satellites", {"--serve", "ipmi", "--fault", "ipmi:mute-satellite"});
  const Model::Inventory inventory = ReadAll(sim);
  auto others = kAll;
  std::erase_if(others, [](const auto& entry) { return entry.first.rfind("Far", 0) == 0; });
  EXPECT_EQ(ReadingsOf(inventory), others);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).reason,
            "sensors of controller 0x76: 3 not read: no response (and 1 more)");
  EXPECT_EQ(inventory.ResultOf(Family::Components).status, FamilyStatus::Complete);
}

}  // namespace
}  // namespace Kelvar::Test
