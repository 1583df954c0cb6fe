// Sensors and FRU devices of satellite controllers and of logical units other than 0.

#include <map>

#include "unit/reader_ipmi/ScriptedReading.h"

namespace Kelvar::Reader::Ipmi {
namespace {

/// Answers the commands of a device repository as those of the main one.
void ServeDeviceRecords(ScriptedIpmi& controller, u8 count, u8 luns) {
  controller.On(0x04, 0x20, {Reply({count, luns})});
  controller.On(0x04, 0x22, [&](const Bytes& request) { return controller.Execute({0x22, request, 0x0A}); });
  controller.On(0x04, 0x21, [&](const Bytes& request) {
    return request.at(5) > 32 ? Refuse(0xCA) : controller.Execute({0x23, request, 0x0A});
  });
}

/// Management controller device locator.
Bytes Controller(u8 address, u8 capabilities, const std::string& name) {
  Bytes record = {
      0, 0, 0x51, 0x12, 0, address, 0, 0, capabilities, 0, 0, 0, 7, address, 0, static_cast<u8>(0xC0 | name.size())};
  record = record + Test::BytesOf(name);
  record[4] = static_cast<u8>(record.size() - 5);
  return record;
}

/// FRU device locator.
Bytes Locator(u8 access, u8 device, u8 place, u8 channel, const std::string& name) {
  Bytes record = ScriptedIpmi::Locator(device, name);
  record[5] = access;
  record[7] = place;
  record[8] = static_cast<u8>(channel << 4);
  return record;
}

/// Serves the EEPROM of that address on that bus.
void ServeEeprom(ScriptedIpmi& controller, u8 bus, u8 address, const Bytes& contents) {
  controller.On(0x06, 0x52, [=](const Bytes& request) {
    if (request.at(0) != bus || request.at(1) != address) {
      return Refuse(0x83);
    }
    const std::size_t offset = request.at(3);
    const std::size_t count = request.at(2);
    Bytes piece(count, 0xFF);
    for (std::size_t at = offset; at < std::min(offset + count, contents.size()); ++at) {
      piece[at - offset] = contents[at];
    }
    return Reply(piece);
  });
}

class SatelliteTest : public ReadingTest {
 protected:
  /// Models and states of components by id.
  static std::map<std::string, std::string> Models(const Model::Inventory& inventory) {
    std::map<std::string, std::string> models;
    for (const Model::Component& component : inventory.components) {
      models[component.id] = component.model + component.state;
    }
    return models;
  }

  static Bytes OnChannel(u8 channel, Bytes record) {
    record[6] = static_cast<u8>(channel << 4);
    return record;
  }

  static Bytes OnLun(u8 lun, Bytes record) {
    record[6] = static_cast<u8>((record[6] & 0xF0) | lun);
    return record;
  }
};

TEST_F(SatelliteTest, SensorsAreReadWhereTheyAre) {
  bmc_.AddSDR(SensorBytes(1, "Far", 0x2C));
  bmc_.AddSDR(OnLun(3, SensorBytes(1, "Unit 3")));
  bmc_.AddSDR(SensorBytes(9, "Soft", 0x41));
  bmc_.AddSDR(OnChannel(6, SensorBytes(1, "Other channel", 0x2C)));
  bmc_.AddSDR(OnChannel(6, SensorBytes(1, "The same")));
  bmc_.Elsewhere(0x2C).On(0x04, 0x2D, {1}, {Reply({17, 0xC0, 0xC0})});
  bmc_.Elsewhere(0x20, 3).On(0x04, 0x2D, {1}, {Reply({18, 0xC0, 0xC0})});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 43 17 18 17 ");
  EXPECT_EQ(inventory.sensors.at(4).id, "2c.0.01");
  EXPECT_EQ(inventory.sensors.at(5).id, "20.3.01");
  EXPECT_EQ(inventory.sensors.at(6).id, "2c.0.01.6");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Complete);
}

TEST_F(SatelliteTest, OneThatIsNotReachedIsGivenUpAndNothingElse) {
  for (u8 number = 1; number < 6; ++number) {
    bmc_.AddSDR(SensorBytes(number, "Mute", 0x2C));
    bmc_.AddSDR(SensorBytes(number, "Far", 0x2E));
    bmc_.AddSDR(OnLun(1, SensorBytes(number, "Gone", 0x30)));
  }
  bmc_.AddSDR(SensorBytes(3, "Last"));
  bmc_.Elsewhere(0x2C).On(0x04, 0x2D, {NoExchange()});
  bmc_.Elsewhere(0x2E).On(0x04, 0x2D, {NoExchange(), Reply({5, 0xC0, 0xC0}), NoExchange(), Reply({6, 0xC0, 0xC0})});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 43 - - - - 5 - - - - - 6 - - 6 - ");
  EXPECT_EQ(bmc_.Elsewhere(0x2C).commands.size(), 2U);
  const Model::FamilyResult& result = inventory.ResultOf(Family::Sensors);
  EXPECT_EQ(result.status, FamilyStatus::Partial);
  EXPECT_EQ(result.cause, FailureCause::NotOffered);
  EXPECT_EQ(result.reason, "sensors of controller 0x2c: 5 not read: no response (and 2 more)");
}

TEST_F(SatelliteTest, ABusyBusIsAskedAgainAndARefusedBridgeIsNot) {
  bmc_.AddSDR(SensorBytes(1, "Far", 0x2C));
  bmc_.AddSDR(SensorBytes(2, "Far", 0x2C));
  auto& satellite = bmc_.Elsewhere(0x2C);
  const IpmiAnswer busy{Kelvar::Ipmi::kSendNotHandedOn, 0x81, {}, std::nullopt, false};
  satellite.On(0x04, 0x2D, {busy, Reply({5, 0xC0, 0xC0})});
  EXPECT_EQ(Readings(Read({Family::Sensors})), "40 41 42 43 5 5 ");
  EXPECT_THAT(clock_.pauses, ElementsAre(50));
  satellite.commands.clear();
  satellite.On(0x04, 0x2D, {{Kelvar::Ipmi::kSendNotHandedOn, 0xC1, {}, std::nullopt, false}});
  EXPECT_EQ(Readings(Read({Family::Sensors})), "40 41 42 43 - - ");
  EXPECT_EQ(satellite.commands.size(), 1U);
}

TEST_F(SatelliteTest, OwnRecordsAreReadWhereTheRepositoryHasNone) {
  bmc_.AddSDR(Controller(0x2C, 0x01, "Node"));
  bmc_.AddSDR(Controller(0x2E, 0x01, "Long"));
  bmc_.AddSDR(Controller(0x30, 0x01, "None"));
  bmc_.AddSDR(Controller(0x32, 0x08, "No sensors"));
  auto& node = bmc_.Elsewhere(0x2C);
  ServeDeviceRecords(node, 1, 3);
  node.AddSDR(SensorBytes(7, "A sensor with a long name", 0x2C));
  node.On(0x04, 0x2D, {7}, {Reply({77, 0xC0, 0xC0})});
  auto& unit = bmc_.Elsewhere(0x2C, 1);
  ServeDeviceRecords(unit, 1, 3);
  unit.AddSDR(OnLun(1, SensorBytes(7, "Of the next unit", 0x2C)));
  unit.On(0x04, 0x2D, {7}, {Reply({78, 0xC0, 0xC0})});
  ServeDeviceRecords(bmc_.Elsewhere(0x2E), 65, 1);
  bmc_.Elsewhere(0x30);
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 43 77 78 ");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).reason,
            "sensor data records of controller 0x2e: 65 are more than are read from a satellite");
  EXPECT_TRUE(bmc_.Elsewhere(0x2E).Sent(0x04, 0x21).empty()) << "too many to ask for over a slow bus";
  EXPECT_FALSE(node.Sent(0x04, 0x21).empty());
  for (const Bytes& request : node.Sent(0x04, 0x21)) {
    EXPECT_LE(request.at(5), 16) << "messages on the bus are short";
  }
}

TEST_F(SatelliteTest, DeviceRecordsOfAllLogicalUnitsAreReadOnce) {
  bmc_.On(0x06, 0x01, {Reply({0x20, 0x81, 2, 0x45, 2, 0xBD, 0x4C, 0xFE, 0, 1, 0})});
  ServeDeviceRecords(bmc_, 4, 0x0B);
  for (const u8 lun : {u8{1}, u8{3}}) {
    auto& unit = bmc_.Elsewhere(0x20, lun);
    ServeDeviceRecords(unit, 2, 0x0B);
    unit.AddSDR(SensorBytes(0, "Temp 0"));  // as on LUN 0
    unit.AddSDR(OnLun(lun, SensorBytes(5, "More")));
    unit.On(0x04, 0x2D, {5}, {Reply({static_cast<u8>(50 + lun), 0xC0, 0xC0})});
  }
  EXPECT_EQ(Readings(Read({Family::Sensors})), "40 41 42 43 51 53 ");
}

TEST_F(SatelliteTest, FruDevicesAreReadWhereTheyAre) {
  bmc_.AddSDR(Controller(0x2C, 0x08, "Node"));
  bmc_.AddSDR(Controller(0x2E, 0x08, "Named too"));
  bmc_.AddSDR(Locator(0x2E, 0, 0x80, 0, "Named"));
  bmc_.AddSDR(Locator(0x20, 4, 0x90, 0, "Unit 2"));
  bmc_.AddSDR(Locator(0x2C, 3, 0x80, 0, "Node part"));
  bmc_.AddFRU(0, FruBytes("Own"));
  bmc_.Elsewhere(0x2C).AddFRU(0, FruBytes("Node with quite a long name"));
  bmc_.Elsewhere(0x2E).AddFRU(0, FruBytes("Once"));
  bmc_.Elsewhere(0x20, 2).AddFRU(4, FruBytes("Unit"));
  const auto inventory = Read({Family::Components});
  const std::map<std::string, std::string> expected = {{"fru-2c-0-00", "Node with quite a long name"},
                                                       {"fru-2e-0-00", "Once"},
                                                       {"fru-4", "Unit"},
                                                       {"fru-2c-0-03", "absent"}};
  EXPECT_EQ(Models(inventory), expected);
  EXPECT_EQ(inventory.ResultOf(Family::Components).status, FamilyStatus::Complete);
  for (const Bytes& request : bmc_.Elsewhere(0x2C).Sent(0x0A, 0x11)) {
    EXPECT_LE(request.at(3), 16) << "messages on the bus are short";
  }
}

TEST_F(SatelliteTest, EntitiesThatCountWithinTheirControllersAreNotMixedUp) {
  for (const u8 address : std::initializer_list<u8>{0x2C, 0x2E}) {
    Bytes locator = Locator(address, 1, 0x80, 0, "Supply");
    locator[13] = 0x60;
    bmc_.AddSDR(locator);
    Bytes sensor = SensorBytes(1, "Temp", address);
    sensor[8] = locator[12];
    sensor[9] = 0x60;
    bmc_.AddSDR(sensor);
    bmc_.Elsewhere(address).On(0x04, 0x2D, {1}, {Reply({17, 0xC0, 0xC0})});
  }
  const auto inventory = Read({Family::Components, Family::Sensors});
  EXPECT_EQ(inventory.sensors.at(4).parent, "fru-2c-0-01");
  EXPECT_EQ(inventory.sensors.at(5).parent, "fru-2e-0-01");
}

TEST_F(SatelliteTest, EepromsAreReadAsFarAsTheyHoldFruData) {
  const struct {
    u8 access;
    u8 place;
    u8 channel;
    u8 bus;
    Bytes contents;
    const char* model;
    std::size_t reads;
  } rows[] = {
      {0x20, 0x02, 0, 0x05, FruBytes("On a private bus"), "On a private bus", 2},
      {0x00, 0x00, 6, 0x60, FruBytes("On the bus itself"), "On the bus itself", 2},
      {0x2C, 0x08, 0, 0x01, FruBytes("After a satellite"), "After a satellite", 3},
      {0x20, 0x02, 0, 0x05, Bytes(64, 0xFF), "", 1},
      {0x20, 0x02, 0, 0x05, {1, 0, 0, 0, 1, 0, 0, 0, 'A', 'B'}, "", 1},
      {0x20, 0x02, 0, 0x07, FruBytes("Not there"), "absent", 2},
  };
  for (const auto& row : rows) {
    ScriptedIpmi bmc;
    bmc.On(0x06, 0x01, {Reply({0x20, 1, 2, 0x45, 2, 0xBF, 0x4C, 0xFE, 0, 1, 0})});
    bmc.AddSDR(Locator(row.access, 0xA4, row.place, row.channel, "EEPROM"));
    ScriptedIpmi& controller = row.access == 0x2C ? bmc.Elsewhere(0x2C, 1) : bmc;
    ServeEeprom(controller, row.bus, 0xA4, row.contents);
    const auto inventory = ReadFrom(bmc, {Family::Components});
    ASSERT_EQ(inventory.components.size(), 1U);
    EXPECT_EQ(Models(inventory).begin()->second, row.model);
    EXPECT_EQ(controller.Sent(0x06, 0x52).size(), row.reads) << row.model;
    EXPECT_EQ(inventory.ResultOf(Family::Components).status, FamilyStatus::Complete);
  }
}

TEST_F(SatelliteTest, PartsThatCannotBeReadCostThemselves) {
  bmc_.AddSDR(Locator(0x20, 0xA4, 0x02, 0, "EEPROM"));
  bmc_.AddSDR(Controller(0x2C, 0x08, "Node"));
  bmc_.AddSDR(Locator(0x20, 4, 0x80, 0, "Part"));
  bmc_.AddFRU(4, FruBytes("Whole"));
  const auto inventory = Read({Family::Components});
  const std::map<std::string, std::string> expected = {{"fru-20-0-a4", ""}, {"fru-2c-0-00", ""}, {"fru-4", "Whole"}};
  EXPECT_EQ(Models(inventory), expected);
  EXPECT_EQ(inventory.ResultOf(Family::Components).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Components).reason,
            "FRU device 164 (EEPROM): completion code 0xc1 (and 1 more)");
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
