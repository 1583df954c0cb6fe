// FRU areas and texts, by the FRU information storage definition.

#include <algorithm>
#include <numeric>

#include <gtest/gtest.h>

#include "module/reader/ipmi/FruInventory.h"
#include "module/reader/ipmi/TypedText.h"

namespace Kelvar::Reader::Ipmi {
namespace {

using Bytes = std::vector<u8>;

TEST(Texts, AreReadInEveryEncoding) {
  const struct {
    TextType type;
    bool english;
    Bytes bytes;
    const char* text;
  } rows[] = {
      {TextType::BinaryOrUnicode, true, {0x0A, 0x1B}, "0a1b"},
      {TextType::BinaryOrUnicode, true, {0, 0, 0}, ""},
      {TextType::BcdPlus, true, {0x12, 0x3A, 0xBC, 0xDE, 0xF4}, "123 -.:,_4"},
      {TextType::SixBit, true, {0x29, 0xDC, 0xA6}, "IPMI"},  // the standard's own example
      {TextType::SixBit, true, {0x29, 0xDC}, "IP"},
      {TextType::EightBit, true, {' ', 'A', 'b', ' ', 0x00, 0xFF}, "Ab"},
      {TextType::EightBit, true, {'A', 0x00, 'x', 'y'}, "A"},
      {TextType::EightBit, true, {'K', 0xE9}, "K\xC3\xA9"},        // Latin-1
      {TextType::EightBit, true, {'K', 0xC3, 0xA9}, "K\xC3\xA9"},  // UTF-8 in its place
      {TextType::EightBit, false, {0x2D, 0x4E, 0x87, 0x65}, "\xE4\xB8\xAD\xE6\x96\x87"},
      {TextType::EightBit, false, {0x3D, 0xD8, 0x00, 0xDE}, "\xF0\x9F\x98\x80"},  // a surrogate pair
      {TextType::EightBit,
       false,
       {0x3D, 0xD8, 'A', 0x00},
       "\xEF\xBF\xBD"
       "A"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(DecodeFruText(row.type, row.bytes, row.english), row.text);
  }
  EXPECT_EQ(DecodeRecordName(TextType::BinaryOrUnicode, Bytes{'F', 0, 'a', 0, 'n', 0}), "Fan");
  EXPECT_EQ(DecodeRecordName(TextType::BinaryOrUnicode, Bytes{'F', 'a', 'n', ' ', '1', 'A'}), "Fan 1A");
  EXPECT_EQ(DecodeRecordName(TextType::BinaryOrUnicode, Bytes{'V', 'B', 'A', 'T'}), "VBAT");
  EXPECT_EQ(DecodeFruText(TextType::EightBit, Bytes{'S', 'N', '-', '4', '7', '1'}, false), "SN-471");
  EXPECT_EQ(DecodeFruText(TextType::EightBit, Bytes{0xFF, 0xFE, 0x2D, 0x4E, 0xFD, 0x56}, false), "\u4E2D\u56FD");
}

TEST(Texts, PlaceholdersAreNone) {
  for (const char* text : {"To be filled by O.E.M.", "N/A", "....", "0000000", "XXXX", "--", "Default string"}) {
    EXPECT_EQ(WithoutPlaceholder(text), "") << text;
  }
  for (const char* text : {"A0", "X1", "0.1", "Nano"}) {
    EXPECT_EQ(WithoutPlaceholder(text), text);
  }
}

u8 ZeroSum(std::span<const u8> bytes) {
  return static_cast<u8>(-std::accumulate(bytes.begin(), bytes.end(), 0));
}

Bytes Area(Bytes body) {
  body.insert(body.begin(), {1, 0});
  body.push_back(0xC1);
  body.resize((body.size() + 1 + 7) / 8 * 8 - 1);
  body[1] = static_cast<u8>((body.size() + 1) / 8);
  body.push_back(ZeroSum(body));
  return body;
}

Bytes Field(u8 type, const std::string& text) {
  Bytes bytes(text.begin(), text.end());
  bytes.insert(bytes.begin(), static_cast<u8>((std::size_t{type} << 6U) | text.size()));
  return bytes;
}

Bytes Joined(const std::vector<Bytes>& pieces) {
  Bytes all;
  for (const Bytes& piece : pieces) {
    all.insert(all.end(), piece.begin(), piece.end());
  }
  return all;
}

/// A device with a board and a product area and two multirecords.
struct Device {
  Bytes board = Area(Joined({{0, 0x40, 0x6A, 0xC0},
                             Field(3, "Tavrik"),
                             Field(3, "Board"),
                             Field(3, "S1"),
                             Field(1, "\x12\x34"),
                             {0xC0},
                             Field(3, "custom 1"),
                             {0xC0},
                             Field(3, "custom 2")}));
  Bytes product = Area(Joined({{0x19},
                               Field(3, "Tavrik"),
                               Field(3, "RT140"),
                               Field(3, "N/A"),
                               Field(3, "V2"),
                               Field(3, "SERIAL"),
                               Field(3, "ASSET")}));
  Bytes supply = {0x00, 0x02, 2, 0, 0, 0x20, 0x13};                     // 320h watts
  Bytes access = Joined({{0x03, 0x82, 17, 0, 0, 0x07}, Bytes(16, 7)});  // system's unique ID

  Bytes Image() {
    for (Bytes* record : {&supply, &access}) {
      (*record)[3] = ZeroSum(std::span(*record).subspan(5));
      (*record)[4] = 0;
      (*record)[4] = ZeroSum(std::span(*record).first(5));
    }
    const auto product8 = static_cast<u8>((8 + board.size()) / 8);
    Bytes header = {1, 0, 0, 1, product8, static_cast<u8>(product8 + product.size() / 8), 0};
    header.push_back(ZeroSum(header));
    return Joined({header, board, product, supply, access});
  }
};

TEST(Areas, AreReadByTheirOwnFormat) {
  const FruInventory fru = ParseFru(Device().Image());
  EXPECT_TRUE(fru.faults.empty());
  ASSERT_TRUE(fru.board && fru.product);
  EXPECT_FALSE(fru.chassis);
  EXPECT_EQ(fru.board->manufactured, "2019-12-23T00:32:00Z");  // C06A40h minutes after the start of 1996
  EXPECT_EQ(fru.board->serialNumber, "S1");
  EXPECT_EQ(fru.board->partNumber, "1234");
  EXPECT_EQ(fru.board->fileId, "");
  EXPECT_EQ(fru.board->custom, (std::vector<std::string>{"custom 1", "custom 2"}));
  EXPECT_EQ(fru.product->partNumber, "");
  EXPECT_EQ(fru.product->version, "V2");
  EXPECT_EQ(fru.product->assetTag, "ASSET");
  EXPECT_EQ(fru.product->fileId, "");
  EXPECT_EQ(fru.records.capacityWatts, 0x320);
  EXPECT_EQ(fru.records.systemGuid, Bytes(16, 7));
}

TEST(Areas, FaultsAreToldWithWhatIsReadable) {
  const struct {
    const char* what;
    void (*damage)(Device&, Bytes& image);
    const char* fault;
    bool board;
    bool product;
  } rows[] = {
      {"a flipped bit", [](Device&, Bytes& image) { image[20] ^= 1; }, "the board area has a wrong checksum", true,
       true},
      {"one in a length", [](Device&, Bytes& image) { image[14] ^= 8; }, "the board area has a wrong checksum", false,
       true},
      {"one after a header that does not hold", [](Device&, Bytes& image) { image[7] ^= 1, image[20] ^= 1; },
       "the board area has a wrong checksum", false, true},
      {"no checksum", [](Device& device, Bytes& image) { image[7 + device.board.size()] = 0; },
       "the board area has no checksum", true, true},
      {"header", [](Device&, Bytes& image) { image[7] ^= 1; }, "the common header has a wrong checksum", true, true},
      {"offset past the end", [](Device&, Bytes& image) { image[4] = 0xF0; }, "the product area is not within the data",
       true, false},
      {"length 0", [](Device&, Bytes& image) { image[9] = 0; }, "the board area has an unknown format", false, true},
      {"cut within the product area", [](Device& device, Bytes& image) { image.resize(8 + device.board.size() + 20); },
       "the product area goes past the end of the data", true, true},
      {"multirecord", [](Device&, Bytes& image) { image.back() ^= 1; }, "a multirecord has a wrong checksum", true,
       true},
      {"format", [](Device&, Bytes& image) { image[0] = 2; }, "the common header is cut or has an unknown format",
       false, false},
  };
  for (const auto& row : rows) {
    Device device;
    Bytes image = device.Image();
    row.damage(device, image);
    const FruInventory fru = ParseFru(image);
    ASSERT_FALSE(fru.faults.empty()) << row.what;
    const auto isExpected = [&row](const FruFault& fault) { return fault.text == row.fault; };
    EXPECT_TRUE(std::any_of(fru.faults.begin(), fru.faults.end(), isExpected))
        << row.what << ": " << fru.faults[0].text;
    EXPECT_EQ(fru.board.has_value(), row.board) << row.what;
    EXPECT_EQ(fru.product.has_value(), row.product) << row.what;
    if (fru.product) {
      EXPECT_TRUE(fru.product->productName == "RT140" || fru.product->productName.empty()) << row.what;
    }
  }
}

TEST(Areas, ALanguageThatTheTextsOfAnAreaDoNotKeepToIsNotBelieved) {
  Device device;
  device.board = Area(Joined({{7, 0, 0, 0}, Field(3, "Orle"), Field(3, "X9"), Field(3, "SN-1"), Field(3, "P7")}));
  EXPECT_EQ(ParseFru(device.Image()).board->manufacturer, "Orle");
  EXPECT_EQ(ParseFru(device.Image()).board->productName, "X9");
  device.board = Area(Joined({{7, 0, 0, 0}, {0xC4, 0x2D, 0x4E, 0xFD, 0x56}, Field(3, "SN-1")}));
  EXPECT_EQ(ParseFru(device.Image()).board->manufacturer, "\u4E2D\u56FD");
}

TEST(Areas, ATextOfOneCharacterIsNotTheEndWhereMoreFieldsFollow) {
  Device device;
  const auto product = [&device](const Bytes& fields) {
    device.product = Area(Joined({{0x19}, Field(3, "Tavrik"), Field(3, "RT140"), {0xC0}, fields}));
    return *ParseFru(device.Image()).product;
  };
  EXPECT_EQ(product(Joined({Field(3, "2"), Field(3, "SERIAL"), {0xC0}})).version, "2");
  EXPECT_EQ(product(Joined({Field(3, "2"), Field(3, "SERIAL"), {0xC0}})).serialNumber, "SERIAL");
  EXPECT_EQ(product(Joined({Field(3, "2"), Field(3, "SERIAL"), Field(3, "7"), {0xC0}})).assetTag, "7");
  EXPECT_EQ(product({}).version, "");
  EXPECT_EQ(product(Joined({{0xC1}, Field(3, "garbage")})).version, "") << "no character";
  EXPECT_EQ(product({0xC1, 'g', 'a', 'r', 'b'}).version, "") << "no fields";
  EXPECT_EQ(product({0xC1, 'g', 0xC0, 0xC1, 0, 0x05}).version, "") << "no padding";
}

TEST(Areas, AFieldPastItsAreaEndsTheFields) {
  Device device;
  device.board = Area(Joined({{0, 0, 0, 0}, Field(3, "Tavrik"), {0xFF, 'x'}}));
  const FruInventory fru = ParseFru(device.Image());
  ASSERT_TRUE(fru.board);
  EXPECT_EQ(fru.board->manufacturer, "Tavrik");
  EXPECT_EQ(fru.board->productName, "");
  EXPECT_EQ(fru.board->manufactured, "");
  EXPECT_EQ(fru.faults.at(0).text, "a field of the board area goes past its end");
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi
