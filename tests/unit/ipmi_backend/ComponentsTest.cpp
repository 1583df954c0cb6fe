#include <gmock/gmock.h>

#include "module/nfw/inventory/ipmi/NodeFirmwareIPMIFRUFunc.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Test {
namespace {

using Walk = IPMIRequestFRULocator;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr u8 kStorage = 0x0A;

/// Vendor, FRU number, part number and serial number at their places in a board area at offset 8.
Bytes BoardFRU(const std::string& tag) {
  Bytes fru(528);
  fru[0] = 1;
  fru[3] = 1;
  const std::pair<std::size_t, std::string> texts[] = {
      {38, "Board"}, {7, "Tavrik"}, {134, "FR" + tag}, {102, "PN" + tag}, {71, "SN" + tag}};
  for (const auto& [place, text] : texts) {
    std::copy(text.begin(), text.end(), fru.begin() + static_cast<std::ptrdiff_t>(8 + place));
  }
  return fru;
}

struct Listing {
  int code = -1;
  std::vector<std::string> components;
};

/// Components as "Name|Manufacturer|FruPartNumber|PartNumber|SerialNumber".
Listing List(ScriptedIpmi& bmc) {
  NodeFirmwareInventoryImpIPMI backend({}, bmc.Transport());
  std::vector<OtherSystemVPD> list;
  Listing listing;
  listing.code = backend.GetNodeOtherSystemVPD(list);
  for (const OtherSystemVPD& c : list) {
    listing.components.push_back(c.Name + "|" + c.Manufacturer + "|" + c.FruPartNumber + "|" + c.PartNumber + "|" +
                                 c.SerialNumber);
  }
  return listing;
}

/// The one component of a target whose only locator has this name.
Listing ListOne(std::string_view name, const Bytes& fru) {
  ScriptedIpmi bmc;
  bmc.AddFRU(1, fru);
  bmc.AddSDR(ScriptedIpmi::Locator(1, name));
  return List(bmc);
}

TEST(Components, SystemBoardComesFirstThenLocatorsInOrder) {
  const LogCapture log;
  ScriptedIpmi bmc;
  bmc.AddFRU(0, BoardFRU("0"));
  bmc.AddFRU(7, BoardFRU("7"));
  bmc.AddFRU(3, BoardFRU("3"));
  bmc.AddFRU(4, Bytes(528));
  bmc.AddSDR(Bytes(30, 0x01));  // a record of another type
  bmc.AddSDR(ScriptedIpmi::Locator(7, "Riser 1"));
  bmc.AddSDR(ScriptedIpmi::Locator(4, "Empty slot"));
  bmc.AddSDR(ScriptedIpmi::Locator(3, "Fan board"));
  const Listing listing = List(bmc);
  EXPECT_EQ(listing.code, 0);
  EXPECT_THAT(listing.components, ElementsAre("System Board|Tavrik|FR0|PN0|SN0", "Riser 1|Tavrik|FR7|PN7|SN7",
                                              "Fan board|Tavrik|FR3|PN3|SN3"));
  EXPECT_EQ(bmc.Sent(kStorage, 0x11).size(), 4 * 33U) << "33 reads a device";
  EXPECT_EQ(bmc.Sent(kStorage, 0x23).size(), 1 + 3 * 2U) << "two a locator, one for another record";
  EXPECT_EQ(bmc.Sent(kStorage, 0x22).size(), 1U);
  EXPECT_EQ(bmc.Sent(kStorage, 0x11).at(32), (Bytes{0x00, 0x00, 0x02, 0x10}));
  EXPECT_TRUE(log.Has(4, "===============FRULocatorVector.size: ================3"));
  EXPECT_TRUE(log.Has(4, "Finish buildNodeOtherSystemVPD, ret =0"));
}

TEST(Components, DevicesWithoutABoardAreaGiveBlanks) {
  const LogCapture log;
  ScriptedIpmi bmc;
  Bytes noBoard(528);
  noBoard[0] = 1;
  bmc.AddFRU(0, noBoard);
  bmc.AddFRU(1, noBoard);
  bmc.AddSDR(ScriptedIpmi::Locator(1, "Riser"));
  EXPECT_THAT(List(bmc).components, ElementsAre("System Board| | | | ", "Riser| | | | "));
}

TEST(Components, ReadsASmallDeviceToItsEnd) {
  const LogCapture log;
  Bytes small = BoardFRU("9");
  small.resize(120);
  EXPECT_THAT(ListOne("Riser", small).components, ElementsAre("Riser|Tavrik| |PN|SN9"))
      << "the part number is cut by the end of the last whole chunk";
}

TEST(Components, NamesDecide) {
  const LogCapture log;
  const std::string texts = "|Tavrik|FR1|PN1|SN1";
  const std::string blanks = "| | | | ";
  const struct {
    std::string name;
    std::string entry;  ///< empty: no component
  } cases[] = {
      {"QVL8", ""},
      {"QVL8 riser", "QVL8 riser" + texts},
      {"GWMA", ""},
      {"KJ6", ""},
      {"kj6", "kj6" + texts},
      {"A Processor 1", ""},
      {"DIMM 1", ""},
      {"xYTD4x", ""},
      {"WHEA", ""},
      {"CMOS", ""},
      {"ServerView", ""},
      {"Chassis", ""},
      {"CPU 1", ""},
      {"the CPU-9 socket", ""},
      {"CPU Card 1", "CPU Card 1" + texts},
      {"CPU Board", "CPU Board" + texts},
      {"CPU Fan", "CPU Fan" + blanks},
      {"CPU 1 Card", ""},
      {"Memory Card 12 left", "Memory Card 1" + texts},
      {"Memory Card", "Memory Card" + texts},
      {"   ", ""},
      {"\x01\x02", ""},
      {"Ri\x01s\xC3\xA9r\x7F", "Risr\x7F" + texts},
      {std::string(120, 'x'), std::string(100, 'x') + texts},
  };
  for (const auto& c : cases) {
    const Listing listing = ListOne(c.name, BoardFRU("1"));
    EXPECT_EQ(listing.code, c.entry.empty() ? 15 : 0) << c.name;
    EXPECT_EQ(listing.components, c.entry.empty() ? std::vector<std::string>{} : std::vector{c.entry}) << c.name;
  }
}

TEST(Components, CPUNameThatEndsTooEarlyEndsTheOperation) {
  for (const char* name : {"CPU", "CPU1", "a CPU"}) {
    const LogCapture log;
    ScriptedIpmi bmc;
    bmc.AddFRU(0, BoardFRU("0"));
    bmc.AddFRU(1, BoardFRU("1"));
    bmc.AddSDR(ScriptedIpmi::Locator(1, name));
    const Listing listing = List(bmc);
    EXPECT_EQ(listing.code, 15);
    EXPECT_THAT(listing.components, IsEmpty());
    EXPECT_TRUE(log.Has(1, "In NodeFirmwareInventoryImpIPMI::GetNodeOtherSystemVPD(), catch other exception"));
  }
}

TEST(Components, NothingFoundIsAFailureAndAnExceptionLosesTheList) {
  const LogCapture log;
  ScriptedIpmi nothing;
  EXPECT_EQ(List(nothing).code, 15);

  ScriptedIpmi raises;
  raises.AddFRU(0, BoardFRU("0"));
  raises.On(kStorage, 0x23, {Throw("lost")});
  const Listing listing = List(raises);
  EXPECT_EQ(listing.code, 5);
  EXPECT_THAT(listing.components, IsEmpty());
}

TEST(Components, ShortFRURepliesLeaveZeros) {
  const LogCapture log;
  ScriptedIpmi bmc;
  bmc.On(kStorage, 0x11, Bytes{0, 0, 0, 16}, {Reply({16, 1, 0, 0, 0})});
  bmc.On(kStorage, 0x11, Bytes{0, 16, 0, 16}, {Reply(Bytes{16} + Bytes(60, 'x'))});
  bmc.On(kStorage, 0x11, Bytes{0, 32, 0, 16}, {Refuse(0xC9)});
  IPMIFRULocator locator;
  const auto transport = bmc.Transport();
  EXPECT_EQ(Walk().IPMIGetFRUData(locator, *transport, true), 15);
  EXPECT_EQ(locator.FRUData, Bytes{1} + Bytes(15) + Bytes(16, 'x') + Bytes(496));
}

/// The locators' names after a walk, and how it ended.
std::pair<int, std::vector<std::string>> WalkOver(ScriptedIpmi& bmc) {
  const auto transport = bmc.Transport();
  std::vector<IPMIFRULocator> locators;
  const int status = Walk().IPMIGetSDREntry(locators, *transport);
  std::vector<std::string> names;
  for (const IPMIFRULocator& locator : locators) {
    names.push_back(locator.GetIDString());
  }
  return {status, names};
}

/// Three locators, with another record before the last.
void AddRepository(ScriptedIpmi& bmc) {
  bmc.AddSDR(ScriptedIpmi::Locator(1, "A"));
  bmc.AddSDR(ScriptedIpmi::Locator(2, "B"));
  bmc.AddSDR(Bytes(20, 0x02));
  bmc.AddSDR(ScriptedIpmi::Locator(3, "C"));
}

TEST(SDRWalk, SurvivesOneLostReservation) {
  const LogCapture log;
  for (std::size_t lostAt = 0; lostAt < 7; ++lostAt) {
    ScriptedIpmi bmc;
    AddRepository(bmc);
    bmc.LoseReservationAfter(lostAt);
    const auto [status, names] = WalkOver(bmc);
    EXPECT_EQ(status, Walk::StatusOK) << lostAt;
    EXPECT_THAT(names, ElementsAre("A", "B", "C")) << lostAt;
    EXPECT_EQ(bmc.Sent(kStorage, 0x22).size(), 2U);
  }
}

TEST(SDRWalk, EndsAtTheSecondFailure) {
  const LogCapture log;
  ScriptedIpmi bmc;
  AddRepository(bmc);
  bmc.LoseReservationAfter(0);
  bmc.On(kStorage, 0x23, Bytes{3, 0, 1, 0, 0x0F, 0xFF}, {Reply({0x02})});
  const auto [status, names] = WalkOver(bmc);
  EXPECT_EQ(status, Walk::StatusFail);
  EXPECT_THAT(names, ElementsAre("A"));
  EXPECT_TRUE(log.Has(4, "IPMIRequestFRULocator::IPMIGetSDREntry - IPMIGetSDRHeader.StatusFail"));
  EXPECT_TRUE(log.Has(4, "IPMIRequestFRULocator::IPMIGetSDREntry - IPMIGetSDRString.StatusFail"));
  EXPECT_TRUE(log.Has(4, "Existing IPMIRequestFRULocator::IPMIGetSDREntry......StatusFail"));
}

TEST(SDRWalk, NeedsAReservation) {
  const LogCapture log;
  for (const IpmiAnswer& answer : {Refuse(0xC1), Reply({0x01}), NoExchange()}) {
    ScriptedIpmi bmc;
    AddRepository(bmc);
    bmc.On(kStorage, 0x22, {answer});
    EXPECT_EQ(WalkOver(bmc).first, Walk::StatusFail);
    EXPECT_THAT(bmc.Sent(kStorage, 0x23), IsEmpty());
  }
  ScriptedIpmi bmc;
  AddRepository(bmc);
  bmc.On(kStorage, 0x22, {Reply({0, 0}), Refuse(0xC1)});
  bmc.On(kStorage, 0x23, {Refuse(0xC5)});
  EXPECT_EQ(WalkOver(bmc).first, Walk::StatusFail);
  EXPECT_EQ(bmc.Sent(kStorage, 0x23).size(), 2U) << "the text is asked for although the header failed";
  EXPECT_TRUE(log.Has(4, "Existing IPMIRequestFRULocator::IPMIGetSDREntry......IPMIReserveSDR() == StatusFail"));
}

TEST(SDRWalk, RepositoryThatNeverEndsIsLeftAtItsFirstRepetition) {
  const LogCapture log;
  ScriptedIpmi bmc;
  AddRepository(bmc);
  bmc.On(kStorage, 0x23, Bytes{1, 0, 3, 0, 0x00, 0x0F}, {Reply(Bytes{0x01, 0x00} + Bytes{3, 0, 0x51, 0x01, 0})});
  const auto [status, names] = WalkOver(bmc);
  EXPECT_EQ(status, Walk::StatusFail);
  EXPECT_THAT(names, ElementsAre("A", "B")) << "what was found stays";
  EXPECT_EQ(bmc.Sent(kStorage, 0x23).size(), 6U);
}

TEST(SDRWalk, WithoutLocatorsFindsNothing) {
  const LogCapture log;
  ScriptedIpmi bmc;
  bmc.AddSDR(Bytes(20, 0x02));
  bmc.AddSDR(Bytes(20, 0x12));
  const auto [status, names] = WalkOver(bmc);
  EXPECT_EQ(status, Walk::StatusOK);
  EXPECT_THAT(names, IsEmpty());
}

}  // namespace
}  // namespace Kelvar::Test
