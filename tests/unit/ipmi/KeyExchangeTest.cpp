#include <gtest/gtest.h>

#include <numeric>

#include "transport/ipmi/Rakp.h"

namespace Kelvar::Ipmi {
namespace {

const Bytes kPassword{'k', 'e', 'l', 'v', 'a', 'r', '-', 'd', 'e', 'm', 'o'};

RakpExchange Exchange() {
  RakpExchange exchange;
  exchange.consoleId = 0x11223344;
  exchange.targetId = 0x55667788;
  std::iota(exchange.consoleRandom.begin(), exchange.consoleRandom.end(), u8{0x00});
  std::iota(exchange.targetRandom.begin(), exchange.targetRandom.end(), u8{0x40});
  std::iota(exchange.targetGuid.begin(), exchange.targetGuid.end(), u8{0x80});
  exchange.role = 0x14;
  exchange.user = "admin";
  return exchange;
}

std::string Hex(const Secret& secret) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const u8 byte : secret.View()) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// Worked out with another program's HMAC.
TEST(KeyExchange, CodesAndKeysOfKnownValues) {
  const struct {
    const CipherSuite& suite;
    const char* rakp2;
    const char* rakp3;
    const char* sessionKey;
    const char* rakp4;
    const char* k1;
    const char* k2;
  } cases[] = {{kSuite3, "f1d94ad2e3a43afb63ab51bc8966d66648db879f", "cd0ac252425af01b5a69965b5cc89c454ff4aea4",
                "a76234415dee68005703b2ce21a724b7cb76924b", "1bcca2b979f2267a002ff592e4f2da47a2e673b9",
                "962df7b94d68616cbbcc711e864c9c6db59e45cc", "581e67abe756b7934772db6e43379543af3345df"},
               {kSuite17, "17c4063377107510a7375a75e6b42ae3cd20a78ac7b45d3d3126915ec9cfacf9",
                "9b1f38522dc5ded7b674b9c04b9f0cf0f1d7380316b749f498b98a8a418199d5",
                "2e6ea761c9806790022ffdcb064a0fce8bc3ad282d4c0b9d99d8815c3bb3b06f",
                "9dca1660defec153f64e737a60760abb08145358a72e0abfdb0c1480a60bfc3d",
                "66eff3a89167fd22ac3bf2c231abce7f35ce9b6ffae4f1f251e0703feacf85aa",
                "6399105eacb66b0e4d45598b1c83ea817c84f1330e38eeca1b239fb2077a663c"}};
  for (const auto& known : cases) {
    SCOPED_TRACE(int{known.suite.id});
    const RakpExchange exchange = Exchange();
    const Secret key = SessionIntegrityKey(known.suite, kPassword, exchange);
    EXPECT_EQ(Hex(Rakp2Code(known.suite, kPassword, exchange)), known.rakp2);
    EXPECT_EQ(Hex(Rakp3Code(known.suite, kPassword, exchange)), known.rakp3);
    EXPECT_EQ(Hex(key), known.sessionKey);
    EXPECT_EQ(Hex(Rakp4Code(known.suite, key, exchange)), known.rakp4);
    EXPECT_EQ(Hex(DerivedKey(known.suite, key, 1)), known.k1);
    EXPECT_EQ(Hex(DerivedKey(known.suite, key, 2)), known.k2);
  }
}

TEST(KeyExchange, RequestsAreLaidOut) {
  EXPECT_EQ(EncodeOpenSessionRequest(7, Privilege::Administrator, 0x11223344, kSuite17),
            (Bytes{7, 4, 0, 0, 0x44, 0x33, 0x22, 0x11, 0, 0, 0, 8, 3, 0, 0, 0,
                   1, 0, 0, 8, 4,    0,    0,    0,    2, 0, 0, 8, 1, 0, 0, 0}));
  const Bytes rakp1 = EncodeRakp1(8, Exchange());
  ASSERT_EQ(rakp1.size(), 33U);
  EXPECT_EQ(Bytes(rakp1.begin(), rakp1.begin() + 8), (Bytes{8, 0, 0, 0, 0x88, 0x77, 0x66, 0x55}));
  EXPECT_EQ(Bytes(rakp1.begin() + 24, rakp1.end()), (Bytes{0x14, 0, 0, 5, 'a', 'd', 'm', 'i', 'n'}));
  EXPECT_EQ(EncodeRakp3(9, 0x0F, 0x55667788, {}), (Bytes{9, 0x0F, 0, 0, 0x88, 0x77, 0x66, 0x55}));
}

TEST(KeyExchange, OpenSessionReplies) {
  Bytes good{7, 0, 4, 0, 0x44, 0x33, 0x22, 0x11, 0x88, 0x77, 0x66, 0x55, 0, 0, 0, 8, 1, 0,
             0, 0, 1, 0, 0,    8,    1,    0,    0,    0,    2,    0,    0, 8, 1, 0, 0, 0};
  const auto reply = DecodeOpenSessionReply(good);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->consoleId, 0x11223344U);
  EXPECT_EQ(reply->targetId, 0x55667788U);
  EXPECT_TRUE(reply->authentication == 1 && reply->integrity == 1 && reply->confidentiality == 1);
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_FALSE(DecodeOpenSessionReply(ByteView(good).first(size))) << size;
  }
}

TEST(KeyExchange, RefusalsMayEndBehindTheStatus) {
  const Bytes refusal{7, 0x11, 0, 0, 0x44, 0x33, 0x22, 0x11};
  for (std::size_t size = 0; size <= refusal.size(); ++size) {
    const ByteView piece = ByteView(refusal).first(size);
    const auto open = DecodeOpenSessionReply(piece);
    const auto rakp2 = DecodeRakp2(piece);
    const auto rakp4 = DecodeRakp4(piece);
    EXPECT_TRUE(open.has_value() == (size >= 2) && rakp2.has_value() == (size >= 2) && rakp4.has_value() == (size >= 2))
        << size;
    if (size >= 2) {
      EXPECT_EQ(open->status, 0x11);
      EXPECT_EQ(open->consoleId.has_value(), size == refusal.size()) << size;
    }
  }
}

TEST(KeyExchange, Rakp2NeedsItsFixedPart) {
  Bytes good{7, 0, 0, 0, 0x44, 0x33, 0x22, 0x11};
  good.resize(8 + 32 + 20, 0x5A);
  const auto reply = DecodeRakp2(good);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->code, Bytes(20, 0x5A));
  for (std::size_t size = 0; size < 8 + 32; ++size) {
    EXPECT_FALSE(DecodeRakp2(ByteView(good).first(size))) << size;
  }
}

TEST(CipherSuites, NumbersThatAreNotTheirsMeanTheBetterOneFirst) {
  EXPECT_EQ(SuitesFor(3), std::vector<const CipherSuite*>{&kSuite3});
  EXPECT_EQ(SuitesFor(17), std::vector<const CipherSuite*>{&kSuite17});
  for (const std::size_t number : {0U, 1U, 255U}) {
    EXPECT_EQ(SuitesFor(number), (std::vector<const CipherSuite*>{&kSuite17, &kSuite3}));
  }
}

}  // namespace
}  // namespace Kelvar::Ipmi
