#include <gtest/gtest.h>

#include <limits>

#include "common/text/ByteReader.h"
#include "common/text/Escape.h"
#include "common/text/FixedText.h"
#include "common/text/NumberText.h"

namespace Kelvar::Text {
namespace {

TEST(FixedText, CutsTerminatesAndClearsTheTail) {
  char field[5] = {'x', 'x', 'x', 'x', 'x'};
  CopyFixed(field, "abcdef");
  EXPECT_EQ(FixedView(field), "abcd");
  EXPECT_EQ(field[4], '\0');
  CopyFixed(field, "z");
  EXPECT_EQ(std::string_view(field, sizeof field), std::string_view("z\0\0\0\0", 5));
  const char full[3] = {'a', 'b', 'c'};
  EXPECT_EQ(FixedView(full), "abc") << "an array without a terminator ends at its width";
}

TEST(ByteReader, ErrorSticksAndReadsGiveZero) {
  const u8 bytes[] = {0x01, 0x34, 0x12, 0xFF};
  ByteReader reader(bytes);
  EXPECT_EQ(reader.U8(), 0x01);
  EXPECT_EQ(reader.U16(), 0x1234);
  EXPECT_TRUE(reader.Ok());
  EXPECT_EQ(reader.U16(), 0) << "one byte is left, two are asked for";
  EXPECT_FALSE(reader.Ok());
  EXPECT_EQ(reader.U8(), 0) << "the last byte is there, but the error stays";
  EXPECT_TRUE(reader.Rest().empty());
  EXPECT_FALSE(reader.Ok());
}

TEST(ByteReader, HugeCountsDoNotWrap) {
  const u8 bytes[] = {1, 2, 3};
  ByteReader reader(bytes);
  reader.Skip(1);
  EXPECT_TRUE(reader.Bytes(std::numeric_limits<std::size_t>::max()).empty());
  EXPECT_FALSE(reader.Ok());
}

struct IntCase {
  const char* text;
  int value;
};

TEST(ParseClampedInt, FollowsAtoiAndClamps) {
  const IntCase cases[] = {
      {"", 0},
      {"  42x", 42},
      {"-7", -7},
      {"+7", 7},
      {"+-7", 0},
      {"x1", 0},
      {"0x10", 0},
      {"  \t\n-12 ", -12},
      {"2147483647", 2147483647},
      {"99999999999999999999", std::numeric_limits<int>::max()},
      {"-99999999999999999999", std::numeric_limits<int>::min()},
      {"-", 0},
      {"+", 0},
  };
  for (const IntCase& c : cases) {
    EXPECT_EQ(ParseClampedInt(c.text), c.value) << '"' << c.text << '"';
  }
}

TEST(EscapeControl, NeutralisesWhatSteersATerminal) {
  EXPECT_EQ(EscapeControl("plain \xC3\xA9 text"), "plain \xC3\xA9 text");
  EXPECT_EQ(EscapeControl("\x1B[2J\n"), "\\x1b[2J\\x0a");
  EXPECT_EQ(EscapeControl("a\nb\tc\r", "\n\t"), "a\nb\tc\\x0d");
  EXPECT_EQ(EscapeControl("\xC2\x9B"
                          "31m"),
            "\\xc2\\x9b"
            "31m")
      << "the one-character form of ESC [";
  EXPECT_EQ(EscapeControl("\xC0\xAF \xED\xA0\x80 \xF5"), "\\xc0\\xaf \\xed\\xa0\\x80 \\xf5") << "no valid UTF-8";
  EXPECT_EQ(EscapeControl("a\u202Eb\u2066\u2028"), "a\\xe2\\x80\\xaeb\\xe2\\x81\\xa6\\xe2\\x80\\xa8");
  EXPECT_EQ(EscapeControl("\u2013\u20AC"), "\u2013\u20AC") << "a dash and a euro sign steer nothing";
  EXPECT_EQ(EscapeControl("\xE2\x82"), "\\xe2\\x82") << "cut in the middle of a character";
  EXPECT_EQ(EscapeControl(std::string_view("\0\x7F", 2)), "\\x00\\x7f");
}

}  // namespace
}  // namespace Kelvar::Text
