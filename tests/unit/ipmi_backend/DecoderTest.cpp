#include <gmock/gmock.h>

#include "module/nfw/inventory/ipmi/NodeFirmwareIPMIFRUFunc.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareSysVPDViaFRU.h"
#include "support/LogCapture.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;

TEST(FRUField, DecodesTheFourTypes) {
  const struct {
    Bytes area;
    std::size_t position;
    std::string text;
    std::size_t behind;
  } cases[] = {
      {{0xC7, 'S', 'E', 'R', '0', '0', '1', '7'}, 0, "SER0017", 8},
      {{0xFF, 0xFF, 0x02, 0x0A, 0xF0}, 2, "0af0", 5},
      {{0x42, 0x31, 0x3C}, 0, "1.", 3},
      {{0x47, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF, 0x00}, 0, " -.:,_0", 8},
      {{0x83, 0x29, 0xDC, 0xA6}, 0, "IPMI", 4},
      {{0x84, 0x29, 0xDC, 0xA6, 0x21}, 0, "IPMIA   ", 5},
      {{0x82, 0xFF, 0xFF}, 0, "__/ ", 3},
      {{0xC1}, 0, "", 1},
      {{0x00, 0xC1, 'x'}, 0, "", 1},
      {{0x40, 0x80, 0xC0}, 2, "", 3},
      {{0xC3, 'a', 'b'}, 0, "", 3},
      {{}, 0, "", 0},
      {{0xC1, 'x'}, 7, "", 2},
  };
  for (const auto& c : cases) {
    std::size_t position = c.position;
    EXPECT_EQ(DecodeFRUField(c.area, position).View(), c.text);
    EXPECT_EQ(position, c.behind) << c.text;
  }
}

TEST(FRUField, HoldsTheLongestFieldOfEachType) {
  for (const auto& [type, length] : {std::pair<u8, std::size_t>{0x3F, 126}, {0x7F, 63}, {0xBF, 84}, {0xFF, 63}}) {
    std::size_t position = 0;
    EXPECT_EQ(DecodeFRUField(Bytes{type} + Bytes(63, 0x41), position).View().size(), length);
    EXPECT_EQ(position, 64U);
  }
}

TEST(SDRRecord, HeaderKeepsTheFixedPart) {
  Bytes reply = {0x34, 0x12};
  for (u8 i = 1; i <= 15; ++i) {
    reply.push_back(i);
  }
  reply[5] = 0x11;
  SDRHeader header;
  ASSERT_TRUE(DecodeSDRHeader(reply, header));
  EXPECT_EQ(header.nextRecord, 0x1234);
  EXPECT_TRUE(header.isLocator);
  EXPECT_THAT(header.head, ElementsAre(2, 1, 3, 0x11, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15));

  for (std::size_t size = 0; size < reply.size(); ++size) {
    EXPECT_FALSE(DecodeSDRHeader(std::span(reply).first(size), header)) << size;
  }
  reply[5] = 0x01;
  for (std::size_t size = 0; size < reply.size(); ++size) {
    EXPECT_EQ(DecodeSDRHeader(std::span(reply).first(size), header), size >= 6) << size;
    EXPECT_FALSE(header.isLocator && size >= 6);
  }
}

TEST(SDRRecord, TextEndsWithTheReplyOrAtNUL) {
  std::string text = "kept";
  EXPECT_FALSE(DecodeSDRString(Bytes{1, 2}, text));
  EXPECT_TRUE(DecodeSDRString(Bytes{1, 2, 0xC5}, text));
  EXPECT_EQ(text, "");
  EXPECT_TRUE(DecodeSDRString(Bytes{1, 2, 0x05, 'P', 'S', 'U'}, text));
  EXPECT_EQ(text, "PSU");
  EXPECT_TRUE(DecodeSDRString(Bytes{1, 2, 0xC5, 'P', 0, 'U'}, text));
  EXPECT_EQ(text, "P");
  EXPECT_TRUE(DecodeSDRString(Bytes{1, 2, 3} + Bytes(400, 'x'), text));
  EXPECT_EQ(text, std::string(300, 'x'));
}

TEST(FRULocator, DataIsAvailableWhenOneOfItsFirst101BytesIsSet) {
  IPMIFRULocator locator;
  EXPECT_FALSE(locator.IsfruDataAvailable());
  locator.FRUData = Bytes(101) + Bytes(427, 0xFF);
  EXPECT_FALSE(locator.IsfruDataAvailable());
  locator.FRUData[100] = 1;
  EXPECT_TRUE(locator.IsfruDataAvailable());
}

/// A device whose board area is at 8 times `unit`, with the five texts at their places.
Bytes BoardFRU(u8 unit, const std::vector<std::string>& texts) {
  Bytes fru(528);
  fru[0] = 1;
  fru[3] = unit;
  const std::size_t places[] = {38, 7, 134, 102, 71};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    std::copy(texts[i].begin(), texts[i].end(), fru.begin() + static_cast<std::ptrdiff_t>(unit * 8U + places[i]));
  }
  return fru;
}

TEST(FRULocator, TakesBoardTextsFromFixedPlaces) {
  const LogCapture log;
  IPMIFRULocator locator;
  locator.FRUData = BoardFRU(1, {"Riser (1)", "Ve#dor", "ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]_./-0123", "", "S1"});
  EXPECT_EQ(locator.BuildBoardInfo("Riser 1", false), 0);
  EXPECT_THAT(locator.GetBoardInfo(), ElementsAre("Riser (1)", "Ve", "ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]_./", "", "S1"));
  EXPECT_THAT(locator.GetFRUInfo(), ElementsAre("Ve", "ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]_./", "", "S1"));

  locator.BuildBoardInfo("", true);
  EXPECT_EQ(locator.GetBoardInfo().size(), 5U);
  EXPECT_THAT(locator.GetFRUInfo(), ElementsAre()) << "the lists start anew";

  locator.BuildBoardInfo("CPU", false);
  EXPECT_THAT(locator.GetFRUInfo(), ElementsAre(" ", " ", " ", " ", " ", " ", " ", " "));

  locator.FRUData[3] = 0;
  locator.BuildBoardInfo("Riser 1", false);
  EXPECT_THAT(locator.GetBoardInfo(), ElementsAre());
  EXPECT_THAT(locator.GetFRUInfo(), ElementsAre());

  locator.FRUData[3] = 255;
  locator.BuildBoardInfo("Riser 1", false);
  EXPECT_THAT(locator.GetFRUInfo(), ElementsAre("", "", "", "")) << "nothing was read there";
}

}  // namespace
}  // namespace Kelvar::Test
