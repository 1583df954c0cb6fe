// Whole readings from a scripted service processor: what is done when it is busy, short, forgetful or silent.

#include "unit/reader_ipmi/ScriptedReading.h"

namespace Kelvar::Reader::Ipmi {
namespace {

TEST_F(ReadingTest, ABusyTargetIsAskedAgainAfterPauses) {
  bmc_.On(0x04, 0x2D, {2}, {Refuse(0xC0), Refuse(0xC3), Reply({42, 0xC0, 0xC0})});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Complete);
  EXPECT_EQ(Readings(inventory), "40 41 42 43 ");
  EXPECT_THAT(clock_.pauses, ElementsAre(50, 100));
}

TEST_F(ReadingTest, AnItemIsGivenUpAndNotTheRun) {
  bmc_.On(0x04, 0x2D, {1}, {Refuse(0xC0)});
  bmc_.On(0x04, 0x2D, {2}, {Refuse(0xFF)});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 - - 43 ");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).reason, "sensor Temp 1: completion code 0xc0 (and 1 more)");
  EXPECT_THAT(clock_.pauses, ElementsAre(50, 100, 200, 500, 50));
}

TEST_F(ReadingTest, ARefusalForOneSensorOrDeviceSaysNothingOfTheOthers) {
  for (const u8 code : std::initializer_list<u8>{0xC1, 0xD4, 0xD6}) {
    bmc_.On(0x04, 0x2D, {1}, {Refuse(code)});
    EXPECT_EQ(Readings(Read({Family::Sensors})), "40 - 42 43 ") << int{code};
  }
  for (const u8 device : std::initializer_list<u8>{1, 2, 3}) {
    bmc_.AddSDR(ScriptedIpmi::Locator(device, "Unit"));
    bmc_.AddFRU(device, FruBytes("Model"));
  }
  for (const u8 command : std::initializer_list<u8>{0x10, 0x11}) {
    bmc_.On(0x0A, command, [this, command](const Bytes& request) {
      ScriptedIpmi plain;
      plain.AddFRU(2, FruBytes("Model"));
      return request.at(0) == 2 ? plain.Execute({command, request, 0x0A}) : Refuse(0xC1);
    });
    EXPECT_EQ(Read({Family::Components}).components.at(1).model, "Model") << int{command};
  }
  const std::size_t before = bmc_.Sent(0x04, 0x2D).size();
  bmc_.On(0x04, 0x2D, {Refuse(0xC1)});
  Read({Family::Sensors});
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), before + 3) << "a target without the command";
}

TEST_F(ReadingTest, BoardAndChassisOfALocatedDeviceAreToldWhereTheirNumbersAreTheirOwn) {
  const Bytes chassis = AreaBytes({17}, {"CH-1", "C77"});
  const Bytes board = AreaBytes({0, 0, 0, 0}, {"Tavrik", "Riser", "B55", "BP-1", ""});
  bmc_.AddFRU(1, FruBytes(chassis, board, AreaBytes({0}, {"Orlen", "Tray", "PP-1", "", "P33", "", ""})));
  bmc_.AddFRU(2, FruBytes(chassis, {}, {}));
  bmc_.AddFRU(3, FruBytes({}, board, AreaBytes({0}, {"Orlen", "Card", "BP-1", "", "B55", "", ""})));
  Bytes damaged = FruBytes({}, board, {});
  damaged.at(20) ^= 1;
  bmc_.AddFRU(4, damaged);
  bmc_.AddFRU(5, FruBytes({}, board, AreaBytes({0}, {"Orlen", "Card", "BP-1", "", "C56", "", ""})));
  for (const u8 device : std::initializer_list<u8>{0, 1, 2, 3, 4, 5}) {  // 0 is the system's, also with a record
    bmc_.AddSDR(ScriptedIpmi::Locator(device, "Unit"));
  }
  const auto inventory = Read({Family::Components});
  std::vector<std::string> parts;
  for (const auto& part : inventory.components) {
    parts.push_back(part.id + "<" + part.parent + " " + part.model + " " + part.part_number + " " + part.serial_number);
  }
  EXPECT_THAT(parts, ElementsAre("fru-1<system Tray PP-1 P33", "fru-1-board<fru-1 Riser BP-1 B55",
                                 "fru-1-chassis<fru-1  CH-1 C77", "fru-2<system  CH-1 C77",
                                 "fru-3<system Card BP-1 B55", "fru-4<system Riser BP-1 B55",
                                 "fru-5<system Card BP-1 C56", "fru-5-board<fru-5 Riser BP-1 B55"));
  EXPECT_EQ(inventory.ResultOf(Family::Components).reason, "FRU device 4 (Unit): the board area has a wrong checksum");
}

TEST_F(ReadingTest, ASensorWithThresholdsAndNoNumberIsOfItsKind) {
  Bytes record = SensorBytes(9, "Crossed or not");
  record[20] = 0xC0;
  bmc_.AddSDR(record);
  bmc_.On(0x04, 0x2D, {9}, {Reply({0, 0xC0, 0xD0})});
  const auto sensor = Read({Family::Sensors}).sensors.at(4);
  EXPECT_EQ(sensor.kind + " " + sensor.unit + sensor.health, "temperature critical");
  EXPECT_EQ(sensor.reading, std::nullopt);
}

TEST_F(ReadingTest, WithoutItsStatesASensorHasNoHealth) {
  bmc_.On(0x04, 0x2D, {1}, {Reply({41, 0xC0})});
  EXPECT_EQ(Read({Family::Sensors}).sensors.at(1).health, "");
  EXPECT_EQ(Read({Family::Sensors}).sensors.at(2).health, "ok");
}

TEST_F(ReadingTest, StatesWithoutAReadingAreTold) {
  const struct {
    IpmiAnswer answer;
    const char* state;
  } rows[] = {
      {Reply({50, 0xE0, 0xC0}), "unavailable_offline"},
      {Reply({50, 0x80, 0xC0}), "disabled"},
      {Reply({127, 0xC0, 0xC0}), "unavailable_offline"},
      {Reply({0x80, 0xC0, 0xC0}), "unavailable_offline"},
      {Refuse(0xCB), "absent"},
      {Refuse(0xD5), "unavailable_offline"},
  };
  for (const auto& row : rows) {
    bmc_.On(0x04, 0x2D, {1}, {row.answer});
    const auto inventory = Read({Family::Sensors});
    EXPECT_EQ(Readings(inventory), "40 - 42 43 ") << row.state;
    EXPECT_EQ(inventory.sensors.at(1).state, row.state);
    EXPECT_EQ(inventory.sensors.at(1).health, "") << row.state;
    EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Complete) << row.state;
  }
}

TEST_F(ReadingTest, FactorsOfANonLinearSensorAreAskedForWithEachRawValue) {
  bmc_.AddSDR(SensorBytes(9, "Odd", 0x20, 0x70));
  bmc_.On(0x04, 0x2D, {9}, {Reply({33, 0xC0, 0xC0})});
  bmc_.On(0x04, 0x23, [](const Bytes& request) {  // M is 3 below 50, 4 above
    return Reply({0, static_cast<u8>(request.at(1) < 50 ? 3 : 4), 0, 0, 0, 0, 0});
  });
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(inventory.sensors.at(4).reading, 99);
  EXPECT_EQ(inventory.sensors.at(4).upper_critical, 360);
  EXPECT_EQ(inventory.sensors.at(3).upper_critical, 90);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Complete);
}

TEST_F(ReadingTest, RecordsOfATargetAreNotBelievedWhenASampleOfSensorsHasOtherThresholds) {
  for (u8 number = 4; number < 64; ++number) {
    bmc_.AddSDR(FixedSensorBytes(number, "Temp"));
  }
  bmc_.On(0x04, 0x2D, {Reply({42, 0xC0, 0xC0})});
  bmc_.On(0x04, 0x27, {Reply({0x18, 0, 0, 0, 80, 90, 0})});
  bmc_.On(0x04, 0x27, {1}, {Reply({0x18, 0, 0, 0, 62, 72, 0})});
  auto some = Read({Family::Sensors}).sensors;
  EXPECT_EQ(some.at(1).upper_critical, 72) << "software may set it";
  EXPECT_EQ(some.at(50).upper_critical, 90);
  EXPECT_EQ(bmc_.Sent(0x04, 0x27).size(), 4U + 8U);

  bmc_.On(0x04, 0x27, {4}, {Reply({0x18, 0, 0, 0, 60, 70, 0})});
  bmc_.On(0x04, 0x27, {51}, {Reply({0x08, 0, 0, 0, 61, 0, 0})});
  const auto sensors = Read({Family::Sensors}).sensors;
  EXPECT_EQ(sensors.at(4).upper_critical, 70);
  EXPECT_EQ(sensors.at(51).upper_caution, 61);
  EXPECT_FALSE(sensors.at(51).upper_critical);
  EXPECT_EQ(sensors.at(52).upper_critical, 90);
  EXPECT_EQ(bmc_.Sent(0x04, 0x27).size(), 12U + 64U);
}

TEST_F(ReadingTest, ThresholdsAreAskedForWhereTheRecordMayNotHaveThem) {
  bmc_.On(0x04, 0x2D, {Reply({42, 0xC0, 0xC0})});
  bmc_.On(0x04, 0x27, {Reply({0x18, 0, 0, 0, 80, 90, 0})});
  bmc_.On(0x04, 0x27, {9}, {Reply({0x3F, 1, 2, 3, 60, 70, 75})});  // the record: 80 and 90
  const auto read = [this](u8 raw, u8 crossed, u8 initialization, u8 access = 0x64) {
    ScriptedIpmi plain;
    Bytes record = SensorBytes(9, "Changed");
    record[10] = initialization;
    record[11] = access;
    plain.AddSDR(FixedSensorBytes(10, "Same"));
    plain.AddSDR(record);  // not of the sample
    for (u8 number = 11; number < 74; ++number) {
      plain.AddSDR(FixedSensorBytes(number, "Same"));
    }
    bmc_.On(0x0A, 0x23, [&plain](const Bytes& request) { return plain.Execute({0x23, request, 0x0A}); });
    bmc_.On(0x0A, 0x22, [&plain](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
    bmc_.On(0x04, 0x2D, {9}, {Reply({raw, 0xC0, static_cast<u8>(0xC0 | crossed)})});
    const auto sensor = Read({Family::Sensors}).sensors.at(1);
    return std::to_string(static_cast<int>(*sensor.upper_caution)) + " " +
           std::to_string(static_cast<int>(*sensor.upper_critical));
  };
  EXPECT_EQ(read(40, 0x00, 0x7F), "80 90");
  EXPECT_EQ(read(85, 0x08, 0x7F), "80 90");
  EXPECT_EQ(read(79, 0x08, 0x7F), "80 90") << "within the hysteresis";
  EXPECT_THAT(bmc_.Sent(0x04, 0x27), testing::Not(testing::Contains(Bytes{9})));
  EXPECT_EQ(read(40, 0x00, 0x6F), "60 70") << "the record does not set them";
  EXPECT_EQ(read(40, 0x00, 0x7F, 0x68), "60 70") << "software may set them";
  EXPECT_EQ(read(72, 0x18, 0x7F), "60 70") << "crossed below";
  EXPECT_EQ(read(85, 0x00, 0x7F), "60 70") << "not crossed above";
  bmc_.On(0x04, 0x27, {9}, {Refuse(0xCD)});
  EXPECT_EQ(read(40, 0x00, 0x6F), "80 90") << "it has no other";
}

TEST_F(ReadingTest, PiecesShrinkUntilTheTargetGivesThem) {
  for (const std::size_t most : {0xFEU, 40U, 31U, 22U, 16U, 8U, 5U}) {
    for (const u8 code : {u8{0xCA}, u8{0xC8}, u8{0xC7}}) {
      ScriptedIpmi plain;
      plain.AddSDR(SensorBytes(1, "A rather long one"));
      plain.AddSDR(SensorBytes(2, "B"));
      bmc_.On(0x0A, 0x23, [&](const Bytes& request) {
        return request.at(5) > most ? Refuse(code) : plain.Execute({0x23, request, 0x0A});
      });
      bmc_.On(0x0A, 0x22, [&](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
      const auto inventory = Read({Family::Sensors});
      ASSERT_EQ(inventory.sensors.size(), 2U) << most;
      EXPECT_EQ(inventory.sensors[0].name, "A rather long one") << most;
      EXPECT_EQ(inventory.sensors[1].name, "B") << most;
    }
  }
}

TEST_F(ReadingTest, ARecordThatCannotBeReadCostsItselfAlone) {
  for (const unsigned bad : {0U, 1U, 2U, 3U}) {  // numbers of records
    for (const auto& answer : {Refuse(0xFF), Refuse(0xC0), Refuse(0xC9), Refuse(0xC5), Refuse(0xCA), Refuse(0xD4),
                               Refuse(0xD5), NoExchange(), Reply({2, 0})}) {
      ScriptedIpmi plain;
      for (u8 number = 0; number < 4; ++number) {
        plain.AddSDR(SensorBytes(number, "Temp"));
      }
      bmc_.On(0x0A, 0x23, [&](const Bytes& request) {
        const unsigned id = request.at(2);
        return id == bad ? answer : plain.Execute({0x23, request, 0x0A});
      });
      bmc_.On(0x0A, 0x22, [&](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
      for (const bool counted : {true, false}) {
        bmc_.On(0x0A, 0x20, {counted ? Reply({0x51, 4, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0}) : Refuse(0xC1)});
        const auto inventory = Read({Family::Sensors});
        const bool empty = answer.completionCode == 0xC9 || answer.completionCode == 0xD5;  // as without records
        const bool none = !counted && bad == 0 && empty;
        EXPECT_EQ(inventory.sensors.size(), none ? 0U : 3U) << bad << ' ' << int{answer.completionCode};
        EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, none ? FamilyStatus::Absent : FamilyStatus::Partial);
        const bool whole = none || answer.sent != 0 || bmc_.Sent(0x0A, 0x23).back().at(5) == 0xFF;
        EXPECT_TRUE(whole || bad == 3) << "records after it are read in one piece";
      }
    }
  }
}

TEST_F(ReadingTest, WholeRecordsThatAreDroppedOrRefusedForAnotherReasonAreReadInPieces) {
  for (const auto& answer : {Refuse(0xFF), Refuse(0xC9), Refuse(0xCC), NoExchange()}) {
    ScriptedIpmi plain;
    plain.AddSDR(SensorBytes(0, "Temp"));
    plain.AddSDR(SensorBytes(1, "Temp"));
    bmc_.On(0x0A, 0x23, [&](const Bytes& request) {
      return request.at(5) == 0xFF ? answer : plain.Execute({0x23, request, 0x0A});
    });
    bmc_.On(0x0A, 0x22, [&](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
    EXPECT_EQ(Read({Family::Sensors}).sensors.size(), 2U) << int{answer.completionCode};
  }
}

TEST_F(ReadingTest, ARecordThatIsTooShortIsToldToBeMissing) {
  Bytes record = SensorBytes(7, "Cut");
  record.resize(30);
  record[4] = 25;
  bmc_.AddSDR(record);
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 43 ");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).reason, "sensor data record 4: shorter than its type requires");

  bmc_.AddSDR(record);
  bmc_.On(0x04, 0x2D, {1}, {Refuse(0xFF)});
  EXPECT_EQ(Read({Family::Sensors}).ResultOf(Family::Sensors).reason,
            "sensor data record 4: shorter than its type requires (and 2 more)");
}

TEST_F(ReadingTest, ALostReservationIsMadeAnew) {
  ScriptedIpmi plain;
  plain.AddSDR(SensorBytes(1, "One"));
  plain.AddSDR(SensorBytes(2, "Two"));
  unsigned reads = 0;
  bmc_.On(0x0A, 0x23, [&](const Bytes& request) {
    return ++reads % 3 != 0 ? Refuse(0xC5) : plain.Execute({0x23, request, 0x0A});
  });
  bmc_.On(0x0A, 0x22, [&](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
  EXPECT_EQ(Read({Family::Sensors}).sensors.size(), 2U);

  bmc_.On(0x0A, 0x23, {Refuse(0xC5)});
  const std::size_t before = bmc_.commands.size();
  EXPECT_EQ(Read({Family::Sensors}).ResultOf(Family::Sensors).status, FamilyStatus::Failed);
  EXPECT_LT(bmc_.commands.size() - before, 200U);
}

TEST_F(ReadingTest, ReservationsMayBeLostAllTheTimeWhereSomethingIsReadInBetween) {
  ScriptedIpmi plain;
  for (u8 number = 0; number < 100; ++number) {
    plain.AddSDR(SensorBytes(number, "Temp"));
  }
  unsigned reads = 0;
  const auto often = [&](u8 command) {
    return [&, command](const Bytes& request) {
      return ++reads % 2 != 0 ? Refuse(0xC5) : plain.Execute({command, request, 0x0A});
    };
  };
  bmc_.On(0x0A, 0x23, often(0x23));
  bmc_.On(0x0A, 0x22, [&](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
  EXPECT_EQ(Read({Family::Sensors}).sensors.size(), 100U);

  ScriptedLog(100,
              [&reads](u16 id) { return ++reads % 2 != 0 ? Refuse(0xC5) : Entry(id, id == 100 ? 0xFFFF : id + 1); });
  EXPECT_EQ(Read({Family::Logs}).log_entries.size(), 100U);
}

TEST_F(ReadingTest, ARecordOrEntryThatFollowsItselfHidesNone) {
  ScriptedIpmi plain;
  for (u8 number = 0; number < 4; ++number) {
    plain.AddSDR(SensorBytes(number, "Temp"));
  }
  bmc_.On(0x0A, 0x20, {Reply({0x51, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
  bmc_.On(0x0A, 0x23, [&](const Bytes& request) {
    IpmiAnswer answer = plain.Execute({0x23, request, 0x0A});
    if (!answer.data.empty() && request.at(2) == 1) {
      answer.data.at(0) = 1;
    }
    return answer;
  });
  bmc_.On(0x0A, 0x22, [&](const Bytes& request) { return plain.Execute({0x22, request, 0x0A}); });
  auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 43 ");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);

  ScriptedLog(4, [](u16 id) { return Entry(id, id == 2 ? 2 : id == 4 ? 0xFFFF : id + 1); });
  inventory = Read({Family::Logs});
  EXPECT_EQ(inventory.log_entries.size(), 4U);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Partial);
}

TEST_F(ReadingTest, ARecordShorterThanItsHeaderTellsIsReadAsFarAsItGoes) {
  for (const auto& end : {Refuse(0xC9), Reply({0xFF, 0xFF})}) {
    Bytes record = SensorBytes(9, "Cut");
    record[4] += 20;
    bmc_.On(0x0A, 0x22, {Reply({1, 0})});
    bmc_.On(0x0A, 0x23, [&](const Bytes& request) {
      return request.at(4) == 0 ? Reply(Bytes{0xFF, 0xFF} + record) : end;
    });
    EXPECT_EQ(Read({Family::Sensors}).sensors.at(0).name, "Cut");
  }
}

TEST_F(ReadingTest, AChainThatEndsBeforeItsRepositoryDoesIsReadAgainWhenThatHasChangedAndNeverKept) {
  const auto info = [](u8 count) { return Reply({0x51, count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}); };
  options_.cacheName = "short:623";
  bmc_.On(0x0A, 0x20, {info(5), info(4)});
  EXPECT_EQ(Read({Family::Sensors}).ResultOf(Family::Sensors).status, FamilyStatus::Complete);
  bmc_.On(0x0A, 0x20, {info(5)});
  for (int reading = 0; reading < 2; ++reading) {
    bmc_.commands.clear();
    const auto inventory = Read({Family::Sensors});
    EXPECT_EQ(Readings(inventory), "40 41 42 43 ");
    EXPECT_EQ(inventory.ResultOf(Family::Sensors).reason, "sensor data records: the chain has 4 of 5");
    EXPECT_FALSE(bmc_.Sent(0x0A, 0x23).empty());
  }
}

TEST_F(ReadingTest, AChainThatTurnsBackEndsWithWhatWasRead) {
  Bytes record = SensorBytes(0, "Temp 0");
  bmc_.On(0x0A, 0x23,
          {Reply(Bytes{1, 0} + record), Reply(Bytes{2, 0} + SensorBytes(1, "Temp 1")),
           Reply(Bytes{1, 0} + SensorBytes(2, "Temp 2"))});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 ");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
}

TEST_F(ReadingTest, WhatATargetLacksIsAbsentAndARefusedPrivilegeIsNot) {
  bmc_.On(0x0A, 0x40, {Refuse(0xC1)});
  EXPECT_EQ(Read({Family::Logs}).ResultOf(Family::Logs).status, FamilyStatus::Absent);
  bmc_.On(0x0A, 0x40, {Refuse(0xD4)});
  const auto result = Read({Family::Logs}).ResultOf(Family::Logs);
  EXPECT_EQ(result.status, FamilyStatus::Failed);
  EXPECT_EQ(result.reason, "event log: the privilege does not suffice");
}

TEST_F(ReadingTest, AMissingCommandIsNotSentAgain) {
  bmc_.On(0x06, 0x59, {Refuse(0xC1)});
  Read({Family::System, Family::Firmware});
  EXPECT_EQ(bmc_.Sent(0x06, 0x59).size(), 1U);
}

TEST_F(ReadingTest, AfterThreeCommandsWithoutAResponseTheTargetIsGoneUnlessItAnswersToItsName) {
  bmc_.On(0x04, 0x2D, {NoExchange()});
  bmc_.On(0x0A, 0x40, {Reply({0x51, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
  auto inventory = Read({Family::Sensors, Family::Logs});
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), 3U);
  EXPECT_EQ(inventory.sensors.size(), 4U);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).cause, FailureCause::Unreachable);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Complete);

  bmc_.On(0x06, 0x01, {Reply({0x20, 1, 2, 0x45, 2, 0xBF, 0x4C, 0xFE, 0, 1, 0}), NoExchange()});
  inventory = Read({Family::Sensors, Family::Logs});
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), 6U);
  EXPECT_EQ(bmc_.Sent(0x0A, 0x40).size(), 1U);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).cause, FailureCause::Unreachable);
}

TEST_F(ReadingTest, ATargetThatIsBusyForLongIsAskedLess) {
  bmc_.On(0x04, 0x2D, {Refuse(0xC0)});
  for (u8 number = 4; number < 10; ++number) {
    bmc_.AddSDR(SensorBytes(number, "Temp"));
  }
  EXPECT_EQ(Read({Family::Sensors}).ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), 3 * 5 + 7 * 2U);
}

TEST_F(ReadingTest, ChannelsAreNotAbsentForTheirMediaOrForOneParameter) {
  bmc_.On(0x0C, 0x02, [](const Bytes& request) {
    return request.at(1) == 51  ? Refuse(0xC1)
           : request.at(1) == 5 ? Reply({0x11, 2, 0, 0, 0, 0, request[0]})
                                : Refuse(0x80);
  });
  const auto channels = [this](const ScriptedIpmi::Handler& info) {
    bmc_.On(0x06, 0x42, info);
    std::string ids;
    for (const auto& interface : Read({Family::Network}).network_interfaces) {
      ids += interface.id + " ";
    }
    return ids;
  };
  EXPECT_EQ(channels([](const Bytes& request) {
              return request.at(0) == 2 ? Refuse(0xD5) : Reply({request[0], 4});
            }),
            "channel-1 channel-3 channel-4 channel-5 channel-6 channel-7 channel-8 channel-9 channel-10 channel-11 ");
  for (const u8 code : std::initializer_list<u8>{0xC1, 0xCC, 0xC9, 0xD4, 0xFF}) {
    EXPECT_EQ(channels([code](const Bytes&) { return Refuse(code); }), "channel-1 ") << int{code};
  }
  EXPECT_EQ(channels([](const Bytes& request) { return Reply({request.at(0), 5}); }), "");
  std::atomic<bool> cancelled{false};
  options_.cancelled = &cancelled;
  bmc_.On(0x06, 0x01, [&cancelled](const Bytes&) {
    cancelled = true;
    return Reply({0x20, 1, 2, 0x45, 2, 0xBF, 0x4C, 0xFE, 0, 1, 0});
  });
  EXPECT_EQ(Read({Family::Network}).ResultOf(Family::Network).cause, FailureCause::Deadline);
}

TEST_F(ReadingTest, ARefusedDeviceIdCostsItselfAlone) {
  for (const auto& answer : {Refuse(0xC0), Refuse(0xD4), Reply({0x20, 1})}) {
    bmc_.On(0x06, 0x01, {answer});
    const auto inventory = Read({Family::Firmware, Family::Sensors});
    EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Failed);
    EXPECT_THAT(inventory.ResultOf(Family::Firmware).reason, testing::StartsWith("device ID: "));
    EXPECT_EQ(Readings(inventory), "40 41 42 43 ");
  }
  bmc_.On(0x0A, 0x20, {Refuse(0xC1)});
  bmc_.On(0x0A, 0x23, {Refuse(0xC1)});
  bmc_.On(0x04, 0x20, {Reply({1, 1})});
  bmc_.On(0x04, 0x22, {Reply({1, 0})});
  bmc_.On(0x04, 0x21, {Reply(Bytes{0xFF, 0xFF} + SensorBytes(2, "Of the device"))});
  EXPECT_EQ(Readings(Read({Family::Sensors})), "42 ") << "the records of the device are the only ones";
}

TEST_F(ReadingTest, SystemInfoIsToldAsFarAsItGoes) {
  bmc_.On(0x06, 0x59, {Refuse(0x80)});
  bmc_.On(0x06, 0x59, {0, 2, 0, 0}, {Reply(Bytes{0x11, 0, 0, 60} + BytesOf("host-with-name"))});
  bmc_.On(0x06, 0x59, {0, 2, 1, 0}, {Refuse(0xC9)});  // shorter than the length that it told
  bmc_.On(0x06, 0x59, {0, 4, 0, 0}, {Reply(Bytes{0x11, 0, 1, 8} + BytesOf("Distro 9"))});
  bmc_.On(0x06, 0x59, {0, 5, 0, 0}, {Reply(Bytes{0x11, 0, 1, 3} + BytesOf("9.2"))});
  auto inventory = Read({Family::System, Family::Firmware});
  EXPECT_EQ(inventory.systems.at(0).host_name, "host-with-name");
  EXPECT_EQ(inventory.firmware.back().id, "os");
  EXPECT_EQ(inventory.firmware.back().name + " " + inventory.firmware.back().version, "Distro 9 9.2");

  bmc_.On(0x06, 0x59, {0, 2, 0, 0}, {Refuse(0xC3)});
  inventory = Read({Family::System});
  EXPECT_EQ(inventory.ResultOf(Family::System).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::System).reason, "system info parameter 2: completion code 0xc3");
}

TEST_F(ReadingTest, DataCenterManageabilityGivesNameTagAndPower) {
  bmc_.On(0x2C, 0x01, {Reply({0xDC, 1, 5, 2, 0, 1, 0})});
  const Bytes name = BytesOf("bmc-of-a-machine-42");
  bmc_.On(0x2C, 0x09, [&name](const Bytes& request) {
    const auto start = name.begin() + request.at(1);
    return Reply(Bytes{0xDC, static_cast<u8>(name.size())} +
                 Bytes(start, start + std::min<std::ptrdiff_t>(request.at(2), name.end() - start)));
  });
  bmc_.On(0x2C, 0x06, {Reply({0xDC, 5, 0xEF, 0xBB, 0xBF, 'A', '7'})});
  bmc_.On(0x2C, 0x02, {Reply({0xDC, 0x2C, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x40})});
  bmc_.On(0x0C, 0x02, {Refuse(0x80)});
  bmc_.On(0x0C, 0x02, {1, 5, 0, 0}, {Reply({0x11, 2, 0, 0, 0, 0, 1})});
  const auto inventory = Read({Family::System, Family::Sensors, Family::Network});
  EXPECT_EQ(inventory.systems.at(0).asset_tag, "A7");
  EXPECT_EQ(inventory.systems.at(1).host_name, "bmc-of-a-machine-42");
  EXPECT_EQ(inventory.network_interfaces.at(0).host_name, "bmc-of-a-machine-42");
  EXPECT_EQ(inventory.sensors.back().id, "dcmi-power");
  EXPECT_EQ(inventory.sensors.back().reading, 300);
  EXPECT_EQ(bmc_.Sent(0x2C, 0x09).size(), 2U);
}

TEST_F(ReadingTest, ATargetWithoutDataCenterManageabilityIsAskedOnce) {
  Read({Family::System, Family::Sensors, Family::Network});
  EXPECT_EQ(bmc_.Sent(0x2C, 0x01).size(), 1U);
  bmc_.On(0x2C, 0x01, {Reply({0xDE, 1, 5, 2})});  // another group
  Read({Family::System, Family::Sensors, Family::Network});
  EXPECT_TRUE(bmc_.Sent(0x2C, 0x02).empty() && bmc_.Sent(0x2C, 0x09).empty());
}

TEST_F(ReadingTest, CipherSuitesComeInPiecesWithinABound) {
  bmc_.On(0x06, 0x42, {Reply({1, 0x04, 1, 0x80, 0, 0, 0, 0, 0})});
  bmc_.On(0x0C, 0x02, {Refuse(0x80)});
  bmc_.On(0x0C, 0x02, {1, 5, 0, 0}, {Reply({0x11, 2, 0, 0, 0, 0, 1})});
  bmc_.On(0x0C, 0x02, {1, 8, 0, 0}, {Reply({0x11, 0x6F, 0x02})});
  bmc_.On(0x06, 0x54, {1, 0, 0x80},
          {Reply({1, 0xC0, 0, 0, 0x40, 0x80, 0xC0, 1, 1, 0x40, 0x80, 0xC0, 2, 1, 0x41, 0x80, 0xC0})});
  bmc_.On(0x06, 0x54, {1, 0, 0x81}, {Reply({1, 3, 1, 0x41, 0x81})});
  auto inventory = Read({Family::Network});
  EXPECT_THAT(inventory.network_services.at(0).cipher_suites, ElementsAre("0", "1", "2", "3"));
  EXPECT_EQ(bmc_.Sent(0x06, 0x54).size(), 2U);

  bmc_.On(0x06, 0x54, [](const Bytes& request) {  // without an end
    Bytes piece(17, request.at(2));
    piece[1] = 0xC0;
    return Reply(piece);
  });
  inventory = Read({Family::Network});
  EXPECT_EQ(bmc_.Sent(0x06, 0x54).size(), 2U + 0x40);
  EXPECT_EQ(inventory.ResultOf(Family::Network).status, FamilyStatus::Complete);

  bmc_.On(0x06, 0x54, {Refuse(0xC1)});
  inventory = Read({Family::Network});
  EXPECT_TRUE(inventory.network_services.at(0).cipher_suites.empty());
  EXPECT_EQ(inventory.ResultOf(Family::Network).status, FamilyStatus::Complete);
}

TEST_F(ReadingTest, LanChannelsAreFoundByTheirMedium) {
  bmc_.On(0x0C, 0x02, {Refuse(0x80)});
  for (u8 channel = 1; channel < 5; ++channel) {
    bmc_.On(0x0C, 0x02, {channel, 5, 0, 0}, {Reply({0x11, 2, 0, 0, 0, 0, channel})});
    bmc_.On(0x0C, 0x02, {channel, 55, 0, 0}, {Reply({0x11, 1, 0})});
    bmc_.On(0x0C, 0x02, {channel, 56, 0, 0},
            {Reply({0x11, 0, 0x80, 0xFD, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 64, 0})});
  }
  bmc_.On(0x0C, 0x02, {2, 51, 0, 0}, {Reply({0x11, 0})});  // IPv4 alone
  bmc_.On(0x06, 0x42, {Refuse(0xCC)});
  bmc_.On(0x06, 0x42, {2}, {Reply({2, 0x04, 1, 0x80, 0, 0, 0, 0, 0})});
  bmc_.On(0x06, 0x42, {3}, {Reply({3, 0x06, 1, 0x80, 0, 0, 0, 0, 0})});
  bmc_.On(0x06, 0x42, {4}, {Reply({4, 0x05, 1, 0x80, 0, 0, 0, 0, 0})});
  auto inventory = Read({Family::Network});
  ASSERT_EQ(inventory.network_interfaces.size(), 2U);
  EXPECT_EQ(inventory.network_interfaces[0].id, "channel-2");
  EXPECT_TRUE(inventory.network_interfaces[0].addresses.empty());
  EXPECT_EQ(inventory.network_interfaces[1].addresses.size(), 1U);

  bmc_.On(0x06, 0x42, {4}, {Refuse(0xD4)});
  EXPECT_EQ(Read({Family::Network}).network_interfaces.size(), 2U) << "one channel that is refused hides no other";

  bmc_.On(0x06, 0x42, {Refuse(0xC1)});
  inventory = Read({Family::Network});
  ASSERT_EQ(inventory.network_interfaces.size(), 1U);
  EXPECT_EQ(inventory.network_interfaces[0].id, "channel-1");
}

TEST_F(ReadingTest, TheDeadlineDeliversWhatWasRead) {
  clock_.step = milliseconds(10);
  options_.deadline = Clock::TimePoint{} + milliseconds(180);
  const auto inventory = Read({Family::Firmware, Family::Sensors, Family::Logs});
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).cause, FailureCause::Deadline);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).cause, FailureCause::Deadline);
  EXPECT_GE(inventory.sensors.size(), 1U);
  EXPECT_LT(inventory.sensors.size(), 4U);
}

TEST_F(ReadingTest, ACancelledOneEndsAsAtItsDeadline) {
  std::atomic<bool> cancelled{false};
  options_.cancelled = &cancelled;
  bmc_.On(0x04, 0x2D, [&cancelled](const Bytes&) {
    cancelled = true;
    return Reply({100, 0xC0, 0xC0});
  });
  const auto inventory = Read({Family::Firmware, Family::Sensors, Family::Logs});
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).cause, FailureCause::Deadline);
}

TEST_F(ReadingTest, ARefusedLoginIsTheCauseOfWhatIsMissingAfterIt) {
  bmc_.On(0x04, 0x2D, [this](const Bytes&) {
    bmc_.loggedOut = true;
    return NoExchange();
  });
  const auto inventory = Read({Family::Firmware, Family::Sensors, Family::Logs});
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).cause, FailureCause::LoginRefused);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).reason,
            "event log: the session was lost, and the login to another one refused");
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), 1U);
}

TEST_F(ReadingTest, FruDevicesAreReadInWordsAndShortPieces) {
  const Bytes image = FruBytes("A product with a name of some length");
  for (const bool words : {false, true}) {
    for (const std::size_t most : {254U, 32U, 16U, 6U}) {
      bmc_.On(0x0A, 0x10, {0}, {Reply({static_cast<u8>(image.size()), 0, static_cast<u8>(words ? 1 : 0)})});
      bmc_.On(0x0A, 0x11, [&](const Bytes& request) {
        const std::size_t unit = words ? 2 : 1;
        const std::size_t at = request.at(1) * unit;
        const std::size_t size = std::min(request.at(3) * unit, most);  // fewer than were asked for
        const Bytes piece(image.begin() + static_cast<std::ptrdiff_t>(at),
                          image.begin() + static_cast<std::ptrdiff_t>(std::min(at + size, image.size())));
        return Reply(Bytes{static_cast<u8>(piece.size() / unit)} + piece);
      });
      const auto inventory = Read({Family::System});
      EXPECT_EQ(inventory.systems.at(0).model, "A product with a name of some length") << words << ' ' << most;
      EXPECT_EQ(inventory.systems.at(0).serial_number, "SN1") << words << ' ' << most;
    }
  }
}

TEST_F(ReadingTest, AFruDeviceThatGivesNoResponseCostsTwoOfThemAndNoOther) {
  for (u8 device = 1; device < 4; ++device) {
    bmc_.AddSDR(ScriptedIpmi::Locator(device, "Part"));
    bmc_.AddFRU(device, FruBytes("Part " + std::to_string(device)));
  }
  bmc_.On(0x0A, 0x11, {2, 0, 0, static_cast<u8>(FruBytes("Part N").size())}, {NoExchange()});
  bmc_.On(0x0A, 0x11, {2, 0, 0, 16}, {NoExchange()});
  const auto inventory = Read({Family::Components, Family::Logs});
  ASSERT_EQ(inventory.components.size(), 3U);
  EXPECT_EQ(inventory.components[0].model + inventory.components[1].model + inventory.components[2].model,
            "Part 1Part 3");
  EXPECT_EQ(inventory.ResultOf(Family::Components).reason, "FRU device 2 (Part): no response");
  EXPECT_EQ(bmc_.Sent(0x06, 0x01).size(), 1U);
}

/// An event log of so many entries, whose numbers begin with 10.
class LogTest : public ReadingTest {
 protected:
  void AddLog(unsigned count) {
    bmc_.On(0x0A, 0x40, {Reply({0x51, static_cast<u8>(count), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
    bmc_.On(0x0A, 0x43, [count](const Bytes& request) {
      const unsigned asked = request.at(2) | static_cast<unsigned>(request.at(3) << 8);
      const unsigned id = asked == 0 ? 10 : asked == 0xFFFF ? 9 + count : asked;
      if (id < 10 || id > 9 + count) {
        return Refuse(0xCB);
      }
      const unsigned next = id == 9 + count ? 0xFFFF : id + 1;
      return Reply({static_cast<u8>(next), static_cast<u8>(next >> 8), static_cast<u8>(id), 0, 2, 0x80,
                    static_cast<u8>(id), 0xB8, 0x65, 0x20, 0, 4, 1, 2, static_cast<u8>(id % 2 == 0 ? 0x01 : 0x81), 0x59,
                    0, 0});
    });
  }

  static std::string Ids(const Model::Inventory& inventory) {
    std::string text;
    for (const Model::LogEntry& entry : inventory.log_entries) {
      text += entry.id + (entry.resolved.value_or(false) ? "r " : " ");
    }
    return text;
  }
};

TEST_F(LogTest, LimitsOrderAndTimeAreKept) {
  AddLog(8);
  const struct {
    u32 limit;
    bool newestFirst;
    const char* since;
    const char* ids;
    std::size_t reads;
  } rows[] = {
      {0, false, "", "10r 11 12r 13 14r 15 16r 17 ", 8},
      {3, false, "", "10r 11 12 ", 3},
      {2, true, "", "17 16r ", 4},  // the last entry, the guessed start, and the two
      {0, true, "", "17 16r 15 14r 13 12r 11 10r ", 8},
      {0, false, "2024-01-29T20:48:00Z", "15 16r 17 ", 8},
      {2, true, "2024-01-29T20:48:00Z", "17 16r ", 8},
  };
  for (const auto& row : rows) {
    const std::size_t before = bmc_.Sent(0x0A, 0x43).size();
    options_.logLimit = row.limit;
    options_.newestFirst = row.newestFirst;
    options_.logSince = row.since;
    const auto inventory = Read({Family::Logs});
    EXPECT_EQ(Ids(inventory), row.ids);
    EXPECT_EQ(bmc_.Sent(0x0A, 0x43).size() - before, row.reads) << row.ids;
    EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Complete);
  }
}

TEST_F(LogTest, AStateIsOverWhenItsOppositeIsAsserted) {
  const struct {
    u8 type;
    u8 first;
    u8 second;
    const char* ids;
  } rows[] = {
      {0x01, 0x09, 0x08, "1r 2 "},  // above an upper limit, and below it again
      {0x01, 0x08, 0x09, "1 2 "},  {0x01, 0x09, 0x06, "1 2 "},
      {0x0B, 0x01, 0x00, "1r 2 "},  // redundancy lost, and fully redundant
      {0x0B, 0x01, 0x05, "1 2 "},  {0x04, 0x01, 0x00, "1r 2 "},
      {0x6F, 0x01, 0x00, "1 2 "},  // states of a power supply do not exclude each other
  };
  for (const auto& row : rows) {
    ScriptedLog(2, [&row](u16 id) {
      IpmiAnswer entry = Entry(id, id == 2 ? 0xFFFF : 2);
      entry.data.at(14) = row.type;
      entry.data.at(15) = id == 1 ? row.first : row.second;
      return entry;
    });
    EXPECT_EQ(Ids(Read({Family::Logs})), row.ids) << int{row.type} << ' ' << int{row.first};
  }
}

TEST_F(LogTest, AnEmptyLogIsComplete) {
  AddLog(0);
  EXPECT_EQ(Read({Family::Logs}).ResultOf(Family::Logs).status, FamilyStatus::Complete);
}

TEST_F(LogTest, ThatALogDroppedEntriesIsToldAndNothingElse) {
  AddLog(2);
  for (const u8 support : {u8{0x0A}, u8{0x8A}}) {
    bmc_.On(0x0A, 0x40, {Reply({0x51, 2, 0, 0, 0, 1, 2, 3, 4, 1, 2, 3, 4, support})});
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    EXPECT_EQ(Read({Family::Logs}).ResultOf(Family::Logs).status, FamilyStatus::Complete);
    EXPECT_EQ(diagnostics.GapCount(), support >> 7U);
  }
}

TEST_F(LogTest, AnEntryThatCannotBeReadCostsItselfAlone) {
  for (const auto& answer : {Refuse(0xC0), Refuse(0xFF), Refuse(0xCB), Refuse(0xC1), Refuse(0xC5), Refuse(0xD5),
                             NoExchange(), Reply({13, 0, 12})}) {
    AddLog(5);
    bmc_.On(0x0A, 0x43, {0, 0, 12, 0, 0, 0xFF}, {answer});
    const auto inventory = Read({Family::Logs});
    EXPECT_EQ(Ids(inventory), "10r 11 13 14 ");
    EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Partial);
    EXPECT_THAT(inventory.ResultOf(Family::Logs).reason, testing::StartsWith("event log entry 12: "));
  }
}

TEST_F(LogTest, EntriesAreReadBySizeWhereTheTargetAsksForIt) {
  for (const u8 code : {u8{0xC7}, u8{0xC8}, u8{0xCA}, u8{0xCC}}) {
    AddLog(3);
    for (u8 id = 0; id < 13; ++id) {
      bmc_.On(0x0A, 0x43, {0, 0, id, 0, 0, 0xFF}, {Refuse(code)});
    }
    EXPECT_EQ(Ids(Read({Family::Logs})), "10r 11 12 ") << int{code};
  }
}

TEST_F(LogTest, AnEntryThatFollowsItselfEndsTheLog) {
  AddLog(3);
  bmc_.On(0x0A, 0x43, {Reply({10, 0, 10, 0, 2, 0, 0, 0, 0, 0x20, 0, 4, 1, 2, 1, 0x59, 0, 0})});
  const auto inventory = Read({Family::Logs});
  EXPECT_EQ(Ids(inventory), "10 ");
  EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Partial);
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
