// All families of a foreign server (ipmi_sim of OpenIPMI, without a module of ours), value for value.

#include <numeric>

#include "flow/reader_ipmi/ForeignComparison.h"
#include "support/IpmiSim.h"

namespace Kelvar::Test {
namespace {

using Model::Family;
using Model::FamilyStatus;

std::string Text(const std::vector<u8>& bytes) {
  std::string text;
  for (const u8 byte : bytes) {
    text += ' ' + std::to_string(unsigned{byte});
  }
  return text;
}

/// A FRU device with a product area.
std::string Fru() {
  std::vector<u8> area = {1,    4,   0,   0xC4, 'A',  'c', 'm', 'e', 0xC4, 'B',  'o',  'x', '1',
                          0xC2, 'P', '1', 0xC0, 0xC4, 'S', 'N', '0', '7',  0xC0, 0xC0, 0xC1};
  area.resize(31);
  area.push_back(static_cast<u8>(-std::accumulate(area.begin(), area.end(), 0)));
  std::vector<u8> image = {1, 0, 0, 0, 1, 0, 0, 0xFE};
  image.insert(image.end(), area.begin(), area.end());
  image.resize(64);
  return "mc_add_fru_data 0x20 0 64 data" + Text(image);
}

const std::vector<u8> kTemperature = {0, 0, 0x51, 1,    52,   0x20, 0,    1,    3,    1,   0x7F, 0x68, 1, 1, 0,
                                      0, 0, 0,    0x38, 0x38, 0,    1,    0,    0,    1,   0,    0,    0, 0, 0,
                                      0, 0, 0,    0,    0xFF, 0,    0xA0, 0x90, 0x70, 0,   0,    0,    1, 1, 0,
                                      0, 0, 0xC9, 'C',  'P',  'U',  ' ',  'T',  'e',  'm', 'p',  '1'};
const std::vector<u8> kSupply = {0,    0, 0x51, 2, 30, 0x20, 0, 2, 10, 1, 0x67, 0x40, 8, 0x6F, 0,   0,   0,  0,
                                 0x3F, 0, 0xC0, 0, 0,  1,    0, 0, 0,  0, 0,    0,    0, 0xC3, 'P', 'S', '1'};

IpmiSimConfig Machine() {
  const std::string none = " 000000000000000";
  const std::string scanned = " enable scanning per-state" + none + none + none + none;
  IpmiSimConfig config;
  config.emulatorLines = {"sensor_add 0x20 0 1 0x01 0x01",
                          "sensor_set_event_support 0x20 0 1" + scanned,
                          "sensor_set_value 0x20 0 1 0x60 0",
                          "main_sdr_add 0x20" + Text(kTemperature),
                          "sensor_add 0x20 0 2 0x08 0x6f",
                          "sensor_set_event_support 0x20 0 2" + scanned,
                          "sensor_set_bit 0x20 0 2 0 1 0",
                          "main_sdr_add 0x20" + Text(kSupply),
                          "sel_add 0x20 2 0 0 0 0 0x20 0 4 1 1 1 0x59 0x95 0x90",
                          Fru()};
  return config;
}

TEST(ForeignServer, IsReadValueForValue) {
  const IpmiSim sim(Machine());
  InventoryReaderOptions options;
  options.sdr_cache = false;
  const Model::Inventory inventory = InventoryReader(IpmiInfo(sim.Port()), options).Read();
  for (const Family family : Model::kAllFamilies) {
    const Model::FamilyResult& result = inventory.ResultOf(family);
    EXPECT_NE(result.status, FamilyStatus::Failed) << NameOf(family) << ": " << result.reason;
    EXPECT_NE(result.status, FamilyStatus::Partial) << NameOf(family) << ": " << result.reason;
  }
  const Model::System& system = inventory.systems.at(0);
  EXPECT_EQ(system.manufacturer + "/" + system.model + "/" + system.part_number + "/" + system.serial_number,
            "Acme/Box1/P1/SN07");
  EXPECT_EQ(inventory.firmware.at(0).version, "9.08");

  ASSERT_EQ(inventory.sensors.size(), 2U);
  const Model::Sensor& temperature = inventory.sensors[0];
  EXPECT_EQ(temperature.name + "/" + temperature.kind + "/" + temperature.unit + "/" + temperature.context,
            "CPU Temp1/temperature/Cel/cpu");
  EXPECT_EQ(temperature.reading, 0x60);
  EXPECT_EQ(temperature.upper_caution, 0x70);
  EXPECT_EQ(temperature.upper_critical, 0x90);
  EXPECT_EQ(temperature.upper_fatal, 0xA0);
  EXPECT_EQ(temperature.lower_critical, std::nullopt);
  EXPECT_EQ(inventory.sensors[1].name, "PS1");
  EXPECT_EQ(inventory.sensors[1].states, Words{"presence detected"});

  ASSERT_EQ(inventory.log_entries.size(), 1U);
  EXPECT_EQ(inventory.log_entries[0].message,
            "CPU Temp1: upper critical going high (reading 149 Cel, threshold 144 Cel)");
  EXPECT_EQ(inventory.log_entries[0].severity, "critical");
}

}  // namespace
}  // namespace Kelvar::Test
