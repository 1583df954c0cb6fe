// Whole readings from a scripted service processor: what is done when it is busy, short, forgetful or silent.

#include <gmock/gmock.h>

#include <kelvar/Inventory.h>

#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/SdrCache.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Reader::Ipmi {
namespace {

using Model::Family;
using Model::FamilyStatus;
using std::chrono::milliseconds;
using Test::Bytes;
using Test::IpmiAnswer;
using Test::NoExchange;
using Test::Refuse;
using Test::Reply;
using Test::ScriptedIpmi;
using Test::operator+;
using testing::ElementsAre;

/// Time passes by sleeping, and by `step` with each look at the clock.
class FakeClock : public Clock {
 public:
  TimePoint Now() override { return now_ += step; }
  void Sleep(milliseconds pause) override {
    pauses.push_back(static_cast<int>(pause.count()));
    now_ += pause;
  }

  milliseconds step{0};
  std::vector<int> pauses;

 private:
  TimePoint now_{};
};

/// A full record of a temperature sensor.
Bytes SensorRecord(u8 number, const std::string& name, u8 owner = 0x20, u8 linearisation = 0) {
  Bytes record = {
      0,    0,    0x51, 0x01, 0, owner, 0,    number, 7,    1,    0x7F, 0x68,
      0x01, 0x01, 0,    0,    0, 0,     0x18, 0,      0x80, 0x01, 0,    linearisation,
      1,    0,    0,    0,    0, 0,     0,    0,      0,    0,    0x7F, 0x80,
      0,    90,   80,   0,    0, 0,     1,    1,      0,    0,    0,    static_cast<u8>(0xC0 | name.size())};
  record.insert(record.end(), name.begin(), name.end());
  record[4] = static_cast<u8>(record.size() - 5);
  return record;
}

/// A FRU device with a product area of a name and a serial number.
Bytes FruOf(const std::string& name) {
  Bytes area = {1, 0, 0, 0xC0, static_cast<u8>(0xC0 | name.size())};
  area.insert(area.end(), name.begin(), name.end());
  area.insert(area.end(), {0xC0, 0xC0, 0xC3, 'S', 'N', '1', 0xC0, 0xC0, 0xC1});
  area.resize((area.size() + 8) / 8 * 8 - 1);
  area[1] = static_cast<u8>((area.size() + 1) / 8);
  u8 sum = 0;
  for (const u8 byte : area) {
    sum = static_cast<u8>(sum + byte);
  }
  area.push_back(static_cast<u8>(-sum));
  Bytes image = {1, 0, 0, 0, 1, 0, 0, 0xFE};
  return image + area;
}

class ReadingTest : public testing::Test {
 protected:
  ReadingTest() {
    bmc_.On(0x06, 0x01, {Reply({0x20, 1, 2, 0x45, 2, 0xBF, 0x4C, 0xFE, 0, 1, 0})});
    for (u8 number = 0; number < 4; ++number) {
      bmc_.AddSDR(SensorRecord(number, "Temp " + std::to_string(number)));
      bmc_.On(0x04, 0x2D, {number}, {Reply({static_cast<u8>(40 + number), 0xC0, 0xC0})});
    }
    SdrCache::ClearProcess();
  }

  Model::Inventory Read(const std::vector<Family>& families) {
    options_.families = families;
    Model::Inventory inventory;
    const auto transport = bmc_.Transport();
    transport->connect();
    ReadInventory(*transport, clock_, options_, inventory);
    return inventory;
  }

  /// The readings of all sensors, "-" for none.
  static std::string Readings(const Model::Inventory& inventory) {
    std::string text;
    for (const Model::Sensor& sensor : inventory.sensors) {
      text += (sensor.reading ? std::to_string(static_cast<int>(*sensor.reading)) : "-") + " ";
    }
    return text;
  }

  ScriptedIpmi bmc_;
  FakeClock clock_;
  ReadingOptions options_;
};

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

TEST_F(ReadingTest, StatesWithoutAReadingAreTold) {
  const struct {
    IpmiAnswer answer;
    const char* state;
  } rows[] = {
      {Reply({50, 0xE0, 0xC0}), "unavailable_offline"},
      {Reply({50, 0x80, 0xC0}), "disabled"},
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

TEST_F(ReadingTest, FactorsOfANonLinearSensorAreAskedForWithTheRawValue) {
  bmc_.AddSDR(SensorRecord(9, "Odd", 0x20, 0x70));
  bmc_.On(0x04, 0x2D, {9}, {Reply({33, 0xC0, 0xC0})});
  bmc_.On(0x04, 0x23, {9, 33}, {Reply({34, 3, 0, 0, 0, 0, 0})});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(inventory.sensors.at(4).reading, 99);
  EXPECT_EQ(inventory.sensors.at(4).upper_critical, std::nullopt);
  EXPECT_EQ(inventory.sensors.at(3).upper_critical, 90);
}

TEST_F(ReadingTest, SensorsOfOtherControllersAreToldToBeUnread) {
  bmc_.AddSDR(SensorRecord(9, "Far", 0x2C));
  bmc_.AddSDR(SensorRecord(9, "Soft", 0x41));
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 41 42 43 - ");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_THAT(inventory.ResultOf(Family::Sensors).reason, testing::HasSubstr("sensors of controller 2c.0"));
}

TEST_F(ReadingTest, PiecesShrinkUntilTheTargetGivesThem) {
  for (const std::size_t most : {0xFEU, 40U, 31U, 22U, 16U, 8U, 5U}) {
    for (const u8 code : {u8{0xCA}, u8{0xC8}, u8{0xC7}}) {
      ScriptedIpmi plain;
      plain.AddSDR(SensorRecord(1, "A rather long one"));
      plain.AddSDR(SensorRecord(2, "B"));
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

TEST_F(ReadingTest, ALostReservationIsMadeAnew) {
  ScriptedIpmi plain;
  plain.AddSDR(SensorRecord(1, "One"));
  plain.AddSDR(SensorRecord(2, "Two"));
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

TEST_F(ReadingTest, AChainThatTurnsBackEndsWithWhatWasRead) {
  Bytes record = SensorRecord(0, "Temp 0");
  bmc_.On(0x0A, 0x23,
          {Reply(Bytes{1, 0} + record), Reply(Bytes{2, 0} + SensorRecord(1, "Temp 1")),
           Reply(Bytes{1, 0} + SensorRecord(2, "Temp 2"))});
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

TEST_F(ReadingTest, AfterThreeCommandsWithoutAResponseNothingIsSent) {
  bmc_.On(0x04, 0x2D, {0}, {NoExchange()});
  bmc_.On(0x04, 0x2D, {1}, {NoExchange()});
  bmc_.On(0x04, 0x2D, {2}, {NoExchange()});
  const auto inventory = Read({Family::Sensors, Family::Logs});
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), 3U);
  EXPECT_TRUE(bmc_.Sent(0x0A, 0x40).empty());
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).cause, FailureCause::Unreachable);
}

TEST_F(ReadingTest, TheDeadlineDeliversWhatWasRead) {
  clock_.step = milliseconds(10);
  options_.deadline = Clock::TimePoint{} + milliseconds(130);
  const auto inventory = Read({Family::Firmware, Family::Sensors, Family::Logs});
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).cause, FailureCause::Deadline);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).cause, FailureCause::Deadline);
  EXPECT_GE(inventory.sensors.size(), 1U);
  EXPECT_LT(inventory.sensors.size(), 4U);
}

TEST_F(ReadingTest, FruDevicesAreReadInWordsAndShortPieces) {
  const Bytes image = FruOf("A product with a name of some length");
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

TEST_F(LogTest, AnEmptyLogIsComplete) {
  AddLog(0);
  EXPECT_EQ(Read({Family::Logs}).ResultOf(Family::Logs).status, FamilyStatus::Complete);
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
