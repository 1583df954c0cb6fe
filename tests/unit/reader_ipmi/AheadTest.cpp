// Commands that are sent before it is known that they are needed: they save time, and change nothing else.

#include "module/reader/ipmi/ChainGuess.h"
#include "unit/reader_ipmi/ScriptedReading.h"

namespace Kelvar::Reader::Ipmi {
namespace {

TEST(ChainGuess, IsMadeWhereStepsAreEqual) {
  ChainGuess guess;
  EXPECT_TRUE(guess.From(0, 64).empty());
  guess.Note(0, 20);
  guess.Note(20, 40);
  guess.Note(40, 60);
  guess.Note(60, 80);
  EXPECT_THAT(guess.From(80, 3), ElementsAre(80, 100, 120));
  EXPECT_TRUE(guess.From(80, 3).empty()) << "these are not read yet";
  EXPECT_EQ(guess.After(80), 100);
  guess.Note(80, 100);
  guess.Note(100, 120);
  guess.Note(120, 140);
  EXPECT_EQ(guess.From(140, 64).size(), 24U) << "more with each that was right";
  guess.Note(140, 161);
  EXPECT_TRUE(guess.From(161, 64).empty());
  EXPECT_EQ(guess.After(161), 162);
  guess.Note(161, 162);
  guess.Note(162, 163);
  guess.Note(163, 164);
  EXPECT_THAT(guess.From(0xFFFD, 64), ElementsAre(0xFFFD, 0xFFFE));
}

class AheadTest : public ReadingTest {
 protected:
  /// A log whose ids are those, in this order.
  void AddLog(const std::vector<u16>& ids) {
    const auto count = static_cast<u16>(ids.size());
    bmc_.On(0x0A, 0x40, {Reply({0x51, Low(count), High(count), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
    bmc_.On(0x0A, 0x43, [ids](const Bytes& request) {
      const auto asked = static_cast<u16>(request.at(2) | request.at(3) << 8);
      const auto entry = asked == 0 ? ids.begin() : std::find(ids.begin(), ids.end(), asked);
      if (entry == ids.end()) {
        return Refuse(0xCB);
      }
      const u16 next = entry + 1 == ids.end() ? u16{0xFFFF} : entry[1];
      return Reply({Low(next), High(next), Low(*entry), High(*entry), 2, 0x80, Low(*entry), 0xB8, 0x65, 0x20, 0, 4, 1,
                    2, 0x01, 0x59, 0, 0});
    });
  }
  static u8 Low(u16 value) { return static_cast<u8>(value); }
  static u8 High(u16 value) { return static_cast<u8>(value >> 8); }

  std::vector<u16> LogIds() {
    std::vector<u16> ids;
    for (const Model::LogEntry& entry : Read({Family::Logs}).log_entries) {
      ids.push_back(static_cast<u16>(std::stoul(entry.id)));
    }
    return ids;
  }
};

TEST_F(AheadTest, LogsAreTheSameHoweverTheirIdsGrow) {
  std::vector<u16> steady;
  std::vector<u16> wide;
  std::vector<u16> jumps;
  std::vector<u16> wrapped;
  std::vector<u16> uneven;
  for (u16 number = 1; number <= 200; ++number) {
    steady.push_back(number);
    wide.push_back(static_cast<u16>(number * 20));
    jumps.push_back(static_cast<u16>(number + number / 50 * 1000));
    wrapped.push_back(static_cast<u16>(number < 100 ? 0xFF00 + number : number));
    uneven.push_back(static_cast<u16>(number * 3 + number % 2));
  }
  const struct {
    const std::vector<u16>& ids;
    std::size_t mostReads;
  } rows[] = {{steady, 200}, {wide, 200}, {jumps, 400}, {wrapped, 300}, {uneven, 200}};
  for (const auto& row : rows) {
    for (const std::size_t ahead : {0U, 5U, 64U}) {
      AddLog(row.ids);
      bmc_.answersAhead = ahead;
      bmc_.commands.clear();
      EXPECT_EQ(LogIds(), row.ids);
      EXPECT_LE(bmc_.Sent(0x0A, 0x43).size(), row.mostReads) << ahead;
    }
  }
}

TEST_F(AheadTest, RecordsAreReadWholeInPiecesAndAfterLostReservations) {
  for (u8 number = 4; number < 100; ++number) {
    bmc_.AddSDR(SensorBytes(number, "Temp " + std::string(number % 12, 'x')));
  }
  bmc_.On(0x0A, 0x20, {Reply({0x51, 100, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
  bmc_.On(0x04, 0x2D, [](const Bytes& request) { return Reply({request.at(0), 0xC0, 0xC0}); });
  const auto expected = Readings(Read({Family::Sensors}));
  const std::size_t reads = bmc_.commands.size();
  for (const std::size_t lostAfter : {0U, 30U, 70U}) {
    bmc_.answersAhead = 64;
    bmc_.commands.clear();
    bmc_.LoseReservationAfter(lostAfter);
    const auto inventory = Read({Family::Sensors});
    EXPECT_EQ(Readings(inventory), expected);
    EXPECT_EQ(inventory.sensors.at(99).name, "Temp xxx");
    EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Complete);
    EXPECT_LT(bmc_.commands.size(), reads + 2 * 64);
  }
}

TEST_F(AheadTest, ReadingsThatAreRefusedAheadAreJudgedAsEver) {
  bmc_.answersAhead = 64;
  bmc_.On(0x04, 0x2D, {0}, {Refuse(0xC0), Reply({40, 0xC0, 0xC0})});
  bmc_.On(0x04, 0x2D, {1}, {Refuse(0xCB)});
  bmc_.On(0x04, 0x2D, {3}, {NoExchange(), Reply({43, 0xC0, 0xC0})});
  const auto inventory = Read({Family::Sensors});
  EXPECT_EQ(Readings(inventory), "40 - 42 43 ");
  EXPECT_EQ(inventory.sensors.at(1).state, "absent");
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Complete);
  EXPECT_EQ(bmc_.Sent(0x04, 0x2D).size(), 4U + 2U) << "the busy one and the lost one once more";
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
