#include <gtest/gtest.h>

#include "transport/ipmi/BridgedMessage.h"
#include "transport/ipmi/Ipmi15Session.h"
#include "transport/ipmi/RmcpPlusSession.h"
#include "transport/ipmi/SessionNegotiator.h"

namespace Kelvar::Ipmi {
namespace {

constexpr RequestKey kKey{0x06, 0x01, 5};
const Bytes kReply{0x81, 0x1C, 0x63, 0x20, 0x14, 0x01, 0x00, 0x11, 0x22, 0x98};

/// Calls `decode` with every shorter piece of the packet, each in a block of its own size.
template <typename Decode>
void ForEachPrefix(ByteView packet, const Decode& decode) {
  for (std::size_t size = 0; size < packet.size(); ++size) {
    SCOPED_TRACE(size);
    Bytes prefix(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(decode(prefix));
  }
}

template <typename Decode>
void ForEachFlippedBit(ByteView packet, const Decode& decode) {
  for (std::size_t bit = 0; bit < packet.size() * 8; ++bit) {
    SCOPED_TRACE(bit);
    Bytes changed(packet.begin(), packet.end());
    changed[bit / 8] ^= static_cast<u8>(1U << (bit % 8));
    EXPECT_FALSE(decode(changed));
  }
}

TEST(IpmiMessage, RequestIsFramed) {
  Bytes message;
  AppendRequest(message, kKey, {});
  EXPECT_EQ(message, (Bytes{0x20, 0x18, 0xC8, 0x81, 0x14, 0x01, 0x6A}));
}

TEST(IpmiMessage, ReplyNamesItsRequest) {
  const auto received = DecodeReply(kReply);
  ASSERT_TRUE(received);
  EXPECT_EQ(received->key.netFn, kKey.netFn);
  EXPECT_EQ(received->key.command, kKey.command);
  EXPECT_EQ(received->key.sequence, kKey.sequence);
  EXPECT_EQ(received->reply.completionCode, 0);
  EXPECT_EQ(received->reply.data, (Bytes{0x11, 0x22}));
  const auto decode = [](const Bytes& bytes) { return DecodeReply(bytes).has_value(); };
  ForEachPrefix(kReply, decode);
  ForEachFlippedBit(kReply, decode);
}

/// A message with both checksums.
Bytes Framed(Bytes message) {
  message.insert(message.begin() + 2, 0);
  message.push_back(0);
  for (std::size_t index = 0; index + 1 < message.size(); ++index) {
    u8& sum = index < 2 ? message[2] : message.back();
    sum = static_cast<u8>(sum - (index == 2 ? 0 : message[index]));
  }
  return message;
}

const ControllerAddress kSatellite{0x2C, 6, 1};

TEST(BridgedMessage, RequestIsFramedInsideOfAnother) {
  const Bytes data = SendMessageData(kSatellite, {0x04, 0x2D, 5}, Bytes{0x07});
  EXPECT_EQ(data, (Bytes{0x46, 0x2C, 0x11, 0xC3, 0x20, 0x14, 0x2D, 0x07, 0x98}));
}

TEST(BridgedMessage, ReplyComesInOneOrTwoMessages) {
  using Kind = BridgedReply::Kind;
  const RequestKey key{0x04, 0x2D, 5};
  const Bytes reply = Framed({0x81, 0x14, 0x2C, 0x15, 0x2D, 0x00, 0xAB});
  const Bytes toProcessor = Framed({0x20, 0x14, 0x2C, 0x15, 0x2D, 0x00, 0xAB});
  const auto ack = [](u8 sequence, u8 code, const Bytes& inner) {
    Bytes message{0x81, 0x1C, 0x20, static_cast<u8>(sequence << 2), 0x34, code};
    Append(message, inner);
    return Framed(message);
  };
  const struct {
    Bytes message;
    Kind kind;
    const char* what;
  } rows[] = {
      {reply, Kind::Answered, "a message of its own"},
      {toProcessor, Kind::Answered, "to the service processor, which handed it on"},
      {ack(5, 0, reply), Kind::Answered, "inside of the other"},
      {ack(5, 0, toProcessor), Kind::Answered, "inside, to the service processor"},
      {ack(5, 0, {}), Kind::HandedOn, "bare"},
      {ack(5, 0x83, {}), Kind::NotHandedOn, "refused"},
      {ack(6, 0, reply), Kind::Other, "the inner number is another one"},
      {ack(5, 0, Bytes(reply.begin(), reply.end() - 1)), Kind::Other, "inside, cut"},
      {Framed({0x81, 0x14, 0x2E, 0x15, 0x2D, 0x00, 0xAB}), Kind::Other, "another satellite"},
      {Framed({0x81, 0x14, 0x2C, 0x14, 0x2D, 0x00, 0xAB}), Kind::Other, "another logical unit"},
      {Framed({0x81, 0x14, 0x2C, 0x15, 0x2E, 0x00, 0xAB}), Kind::Other, "another command"},
      {Framed({0x81, 0x1C, 0x2C, 0x15, 0x2D, 0x00, 0xAB}), Kind::Other, "another network function"},
      {Framed({0x20, 0x14, 0x20, 0x15, 0x2D, 0x00, 0xAB}), Kind::Other, "from the service processor to itself"},
  };
  for (const auto& row : rows) {
    const BridgedReply received = DecodeBridgedReply(row.message, kSatellite, key);
    EXPECT_EQ(received.kind, row.kind) << row.what;
    EXPECT_EQ(received.reply.data, row.kind == Kind::Answered ? Bytes{0xAB} : Bytes()) << row.what;
  }
  EXPECT_EQ(DecodeBridgedReply(ack(5, 0x83, {}), kSatellite, key).reply.completionCode, 0x83);
  const auto answered = [&key](const Bytes& bytes) {
    const Kind kind = DecodeBridgedReply(bytes, kSatellite, key).kind;
    return kind == Kind::Answered || kind == Kind::NotHandedOn;
  };
  for (const Bytes& message : {reply, ack(5, 0, reply)}) {
    ForEachPrefix(message, answered);
    ForEachFlippedBit(message, answered);
  }
}

TEST(Ipmi15Packet, PrefixesAndForeignTypesAreNothing) {
  const Bytes code(16, 0xAB);
  Bytes packet;
  AppendIpmi15Packet(packet, {AuthType::Md5, 0x01020304, 0x05060708, code, kReply});
  const auto parsed = ParseIpmi15Packet(packet);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(parsed->sequence, 0x01020304U);
  EXPECT_EQ(parsed->sessionId, 0x05060708U);
  EXPECT_EQ(Bytes(parsed->message.begin(), parsed->message.end()), kReply);
  ForEachPrefix(packet, [](const Bytes& bytes) { return ParseIpmi15Packet(bytes).has_value(); });
  for (const u8 type : Bytes{1, 3, 5, 6, 0x12}) {
    Bytes other = packet;
    other[4] = type;
    EXPECT_FALSE(ParseIpmi15Packet(other)) << int{type};
  }
  packet.push_back(0);  // the pad byte of old network chips
  EXPECT_TRUE(ParseIpmi15Packet(packet));
}

TEST(Session15, OnlyItsOwnPacketsComeThroughOnce) {
  const Credentials credentials("admin", "kelvar-demo");
  for (const AuthType type : {AuthType::Md5, AuthType::Password, AuthType::None}) {
    Ipmi15Session ours(credentials, {type, 77, 9}, 9);
    Ipmi15Session theirs(credentials, {type, 77, 9}, 9);
    Bytes packet;
    theirs.Wrap(packet, kReply);
    ForEachPrefix(packet, [&](Bytes& bytes) { return ours.Unwrap(bytes).has_value(); });
    if (type == AuthType::Md5) {
      ForEachFlippedBit(ByteView(packet).subspan(kRmcpHeaderSize), [&](Bytes& changed) {
        Bytes whole(packet.begin(), packet.begin() + kRmcpHeaderSize);
        Append(whole, changed);
        return ours.Unwrap(whole).has_value();
      });
    }
    EXPECT_TRUE(ours.Unwrap(packet));
    EXPECT_FALSE(ours.Unwrap(packet)) << "a duplicate";
  }
}

TEST(AuthCode15, Md5CoversPasswordSessionMessageAndNumber) {
  Bytes message;
  AppendRequest(message, kKey, {});
  Bytes password{'k', 'e', 'l', 'v', 'a', 'r', '-', 'd', 'e', 'm', 'o'};
  password.resize(kPassword15Size);
  const Secret code = AuthCode15(AuthType::Md5, password, 0x55667788, 7, message);
  EXPECT_EQ(Bytes(code.View().begin(), code.View().end()),
            (Bytes{0xf3, 0x4a, 0xa1, 0x53, 0x49, 0xad, 0xeb, 0xcb, 0x38, 0xde, 0x64, 0xdf, 0x2c, 0x3e, 0xe3, 0x01}));
}

TEST(RmcpPlusPacket, PrefixesAndForeignPayloadsAreNothing) {
  Bytes packet;
  RmcpPlusPacket fields;
  fields.type = PayloadType::Rakp2;
  fields.payload = kReply;
  AppendRmcpPlusPacket(packet, fields);
  ASSERT_TRUE(ParseRmcpPlusPacket(packet));
  ForEachPrefix(packet, [](const Bytes& bytes) { return ParseRmcpPlusPacket(bytes).has_value(); });
  for (const u8 type : Bytes{0x01, 0x02, 0x16, 0x20, 0x3F}) {
    packet[5] = type;
    EXPECT_FALSE(ParseRmcpPlusPacket(packet)) << int{type};
  }
}

class SessionPlus : public testing::TestWithParam<const CipherSuite*> {
 protected:
  const CipherSuite& suite_ = *GetParam();
  const Secret key_{Bytes(suite_.digestSize, 0x42)};
  RmcpPlusSession ours_{suite_, key_, 0x1111, 0x2222};
  RmcpPlusSession theirs_{suite_, key_, 0x2222, 0x1111};

  bool Takes(Bytes packet) { return ours_.Unwrap(packet).has_value(); }
};

INSTANTIATE_TEST_SUITE_P(Suites, SessionPlus, testing::ValuesIn(kCipherSuites));

TEST_P(SessionPlus, MessagesOfAllSizesComeThroughOnce) {
  for (std::size_t size = 0; size < 70; ++size) {
    const Bytes message(size, static_cast<u8>(size));
    Bytes packet;
    theirs_.Wrap(packet, message);
    EXPECT_EQ((packet.size() - kRmcpHeaderSize - suite_.integritySize) % 4, 0U) << "integrity covers whole words";
    const Bytes kept = packet;
    const auto unwrapped = ours_.Unwrap(packet);
    ASSERT_TRUE(unwrapped) << size;
    EXPECT_EQ(Bytes(unwrapped->begin(), unwrapped->end()), message);
    EXPECT_FALSE(Takes(kept)) << "a duplicate";
  }
}

TEST_P(SessionPlus, CutAndChangedPacketsAreNothing) {
  Bytes packet;
  theirs_.Wrap(packet, kReply);
  ForEachPrefix(packet, [this](const Bytes& bytes) { return Takes(bytes); });
  ForEachFlippedBit(ByteView(packet).subspan(kRmcpHeaderSize), [&](const Bytes& changed) {
    Bytes whole(packet.begin(), packet.begin() + kRmcpHeaderSize);
    Append(whole, changed);
    return Takes(whole);
  });
  Bytes longer = packet;
  longer.push_back(0);
  EXPECT_FALSE(Takes(longer));
  EXPECT_TRUE(Takes(packet)) << "the packet itself is good, and no other one used up its number";
}

TEST_P(SessionPlus, RightIntegrityDoesNotExcuseTheRest) {
  const auto sign = [this](RmcpPlusPacket fields, const Bytes& payload) {
    fields.sessionId = 0x1111;
    fields.sequence = 1;
    fields.payload = payload;
    Bytes packet;
    AppendRmcpPlusPacket(packet, fields);
    Hmac integrity(suite_.digest, DerivedKey(suite_, key_, 1).View());
    AppendTrailer(packet, integrity, suite_.integritySize);
    return packet;
  };
  const auto encrypt = [this](Bytes text) {
    AesCbc cipher(DerivedKey(suite_, key_, 2).View());
    const Bytes vector(AesCbc::kBlock, 3);
    cipher.Encrypt(vector, text);
    Bytes payload = vector;
    Append(payload, text);
    return payload;
  };
  const auto takes = [this](Bytes packet) {  // in a session that has seen nothing yet
    return RmcpPlusSession(suite_, key_, 0x1111, 0x2222).Unwrap(packet).has_value();
  };
  RmcpPlusPacket both;
  both.encrypted = both.authenticated = true;
  const Bytes good{9, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 14};
  EXPECT_TRUE(takes(sign(both, encrypt(good)))) << "what the cases below are made from";
  for (const auto& [index, value] : {std::pair{15, 16}, {15, 0xFF}, {15, 13}, {7, 0}}) {
    Bytes padding = good;
    padding[static_cast<std::size_t>(index)] = static_cast<u8>(value);
    EXPECT_FALSE(takes(sign(both, encrypt(padding)))) << index << " " << value;
  }
  for (const std::size_t size : {0U, 16U, 33U}) {
    EXPECT_FALSE(takes(sign(both, Bytes(size)))) << size;
  }
  RmcpPlusPacket plain = both;
  plain.encrypted = false;
  EXPECT_FALSE(takes(sign(plain, good)));
  RmcpPlusPacket unsignedPacket = both;
  unsignedPacket.authenticated = false;
  EXPECT_FALSE(takes(sign(unsignedPacket, encrypt(good))));
  RmcpPlusPacket otherType = both;
  otherType.type = PayloadType::Rakp4;
  EXPECT_FALSE(takes(sign(otherType, encrypt(good))));
}

TEST(SequenceWindow, TakesEachNumberOnce) {
  const struct {
    u32 number;
    bool taken;
  } cases[] = {{3, true}, {1, true},  {1, false}, {2, true},   {3, false},  {0, false},  {40, true},
               {9, true}, {8, false}, {9, false}, {200, true}, {40, false}, {199, true}, {0xFFFFFFFF, false}};
  SequenceWindow window;
  for (const auto& test : cases) {
    EXPECT_EQ(window.Take(test.number), test.taken) << test.number;
  }
  SequenceWindow wrapping(0xFFFFFFFE);
  EXPECT_TRUE(wrapping.Take(1)) << "numbers go on after their end";
  EXPECT_TRUE(wrapping.Take(0xFFFFFFFF));
}

TEST(SuiteRecords, StandardSuitesAreReadUntilTheFirstFault) {
  const struct {
    Bytes records;
    std::vector<u8> suites;
  } cases[] = {{{}, {}},
               {{0xC0, 0, 0x00, 0x40, 0x80, 0xC0, 3, 0x01, 0x41, 0x81, 0xC0, 17, 0x03, 0x44, 0x81}, {0, 3, 17}},
               {{0xC1, 0x80, 0x57, 0x01, 0x00, 0x03, 0x44, 0x81, 0xC0, 17, 0x03, 0x44, 0x81}, {17}},
               {{0xC0, 3, 0x01, 0x41, 0x81, 0xC0}, {3}},
               {{0xC0, 3, 0x01, 0x41, 0x81, 0xC1, 0x80, 0x57}, {3}},
               {{0x03, 0xC0, 3}, {}}};
  for (const auto& test : cases) {
    EXPECT_EQ(DecodeSuiteRecords(test.records), test.suites);
  }
}

TEST(AuthCapabilities, PlusIsOfferedWhenBothBitsSaySo) {
  EXPECT_TRUE(DecodeAuthCapabilities(Bytes{1, 0x97, 0x06, 0x03, 0, 0, 0, 0})->plus);
  EXPECT_FALSE(DecodeAuthCapabilities(Bytes{1, 0x17, 0x06, 0x03, 0, 0, 0, 0})->plus);
  EXPECT_FALSE(DecodeAuthCapabilities(Bytes{1, 0x97, 0x06, 0x01, 0, 0, 0, 0})->plus);
  EXPECT_FALSE(DecodeAuthCapabilities(Bytes{1, 0x97, 0x06}));
  const auto types = *DecodeAuthCapabilities(Bytes{1, 0x14, 0, 0});
  EXPECT_TRUE(types.Offers(AuthType::Md5) && types.Offers(AuthType::Password) && !types.Offers(AuthType::None));
}

}  // namespace
}  // namespace Kelvar::Ipmi
