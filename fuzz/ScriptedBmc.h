#pragma once

#include <memory>
#include <optional>

#include "common/text/ByteReader.h"
#include "fuzz/Check.h"
#include "transport/ipmi/Ipmi15Session.h"
#include "transport/ipmi/IpmiMessage.h"
#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/RmcpPlusSession.h"

namespace Kelvar::Fuzz {

using namespace Ipmi;

/// A service processor that knows the password and the protocol, and answers as its script says: what is authentic it
/// can make, so that a library under test gets past the key exchange.
class ScriptedBmc {
 public:
  static constexpr const char* kUser = "admin";
  static constexpr const char* kPassword = "kelvar-demo";

  explicit ScriptedBmc(ByteView script) : script_(script), credentials_(kUser, kPassword) {}

  Text::ByteReader& Script() { return script_; }

  /// The authentic answer to a packet, with what the script says in it.
  Bytes AnswerTo(const Bytes& packet) {
    secured_ = false;
    if (const auto plus = ParseRmcpPlusPacket(packet)) {
      return plus->type == PayloadType::Ipmi ? InSession(packet) : InHandshake(*plus);
    }
    const auto fields = ParseIpmi15Packet(packet);
    FUZZ_CHECK(fields);
    return In15(*fields);
  }

  /// Whether the last answer is protected by a key that nobody else has.
  bool Secured() const { return secured_; }
  /// What the last answer tells, where it is one to a command.
  const Reply& Told() const { return told_; }

 private:
  static constexpr u32 kSessionId = 0x01020304;

  static void AppendChecksum(Bytes& to, std::size_t from) {
    u8 sum = 0;
    for (std::size_t index = from; index < to.size(); ++index) {
      sum = static_cast<u8>(sum - to[index]);
    }
    to.push_back(sum);
  }

  /// Most scripts shall come far: one byte tells whether what follows is the usual or the script's own.
  u8 StatusByte() { return script_.U8() < 0xF0 ? u8{0} : script_.U8(); }

  Bytes ScriptData() {
    const ByteView data = script_.Bytes(std::min<std::size_t>(script_.U8(), script_.Remaining()));
    return {data.begin(), data.end()};
  }

  Bytes UsualData(u8 command, ByteView request) {
    switch (command) {
      case 0x38: {  // Get Channel Authentication Capabilities
        constexpr u8 kKinds[][2] = {{0x80, 2}, {0x04, 0}, {0x10, 0}, {0x01, 0}, {0x00, 0}, {0x94, 2}, {0x80, 2}};
        const auto& kind = kKinds[script_.U8() % std::size(kKinds)];
        return {1, kind[0], 0, kind[1], 0, 0, 0, 0};
      }
      case 0x39: {  // Get Session Challenge
        Bytes data(20, 7);
        authType_ = static_cast<AuthType>(request.empty() ? 0 : request[0]);
        return data;
      }
      case 0x3A: {  // Activate Session
        sequence15_ = request.size() < 22 ? 0 : Text::ByteReader(request.subspan(18)).U32();
        Bytes data{static_cast<u8>(authType_)};
        AppendU32(data, kSessionId);
        AppendU32(data, 1);
        data.push_back(4);
        return data;
      }
      default:
        return ScriptData();
    }
  }

  Bytes MessageFor(ByteView request) {
    FUZZ_CHECK(request.size() >= 7);
    const u8 command = request[5];
    told_.completionCode = StatusByte();
    told_.data = script_.U8() < 0xF0 ? UsualData(command, request.subspan(6, request.size() - 7)) : ScriptData();
    Bytes message{0x81, static_cast<u8>(request[1] | 4)};
    AppendChecksum(message, 0);
    const u8 body[] = {0x20, request[4], command, told_.completionCode};
    Append(message, body);
    Append(message, told_.data);
    AppendChecksum(message, 3);
    return message;
  }

  Bytes In15(const Ipmi15Packet& fields) {
    const Bytes message = MessageFor(fields.message);
    if (message.size() > 0xFF) {
      return {};
    }
    Ipmi15Packet answer;
    answer.authType = fields.authType;
    answer.sessionId = fields.sessionId;
    answer.sequence = fields.sequence == 0 ? 0 : sequence15_++;
    answer.message = message;
    Bytes password(credentials_.Password().begin(), credentials_.Password().end());
    password.resize(kPassword15Size);
    const Secret code = AuthCode15(answer.authType, password, answer.sessionId, answer.sequence, message);
    answer.authCode = code.View();
    Bytes packet;
    AppendIpmi15Packet(packet, answer);
    secured_ = answer.authType == AuthType::Md5;
    return packet;
  }

  Bytes InSession(Bytes packet) {
    FUZZ_CHECK(session_);
    const auto request = session_->Unwrap(packet);
    // Whatever was said before, what the library sends in a session is whole. Only an attempt that failed may be closed
    // with keys that this side never had.
    FUZZ_CHECK(request || !used_);
    if (!request) {
      return {};
    }
    used_ = true;
    const Bytes message = MessageFor(*request);
    Bytes answer;
    session_->Wrap(answer, message);
    secured_ = true;
    return answer;
  }

  Bytes InHandshake(const RmcpPlusPacket& request) {
    const ByteView in = request.payload;
    FUZZ_CHECK(in.size() >= 8);
    RmcpPlusPacket fields;
    Bytes payload{in[0], StatusByte(), 0, 0};
    AppendU32(payload, exchange_.consoleId);
    if (request.type == PayloadType::OpenSessionRequest) {
      fields.type = PayloadType::OpenSessionReply;
      AnswerOpen(in, payload);
    } else if (request.type == PayloadType::Rakp1) {
      fields.type = PayloadType::Rakp2;
      AnswerRakp1(in, payload);
    } else {
      FUZZ_CHECK(request.type == PayloadType::Rakp3);
      fields.type = PayloadType::Rakp4;
      AnswerRakp3(in, payload);
    }
    fields.payload = payload;
    Bytes packet;
    AppendRmcpPlusPacket(packet, fields);
    return packet;
  }

  void AnswerOpen(ByteView in, Bytes& payload) {
    FUZZ_CHECK(in.size() == 32);
    exchange_ = {};
    used_ = false;
    exchange_.user = kUser;
    exchange_.consoleId = Text::ByteReader(in.subspan(4)).U32();
    exchange_.targetId = kSessionId;
    suite_ = in[12] == kSuite17.authentication ? &kSuite17 : &kSuite3;
    payload.resize(4);
    AppendU32(payload, exchange_.consoleId);
    AppendU32(payload, kSessionId);
    Append(payload, in.subspan(8));
  }

  void AnswerRakp1(ByteView in, Bytes& payload) {
    FUZZ_CHECK(in.size() >= 28);
    // The same message, sent again, gets the same answer.
    if (!std::equal(exchange_.consoleRandom.begin(), exchange_.consoleRandom.end(), in.begin() + 8)) {
      std::copy_n(in.begin() + 8, 16, exchange_.consoleRandom.begin());
      exchange_.role = in[24];
      exchange_.targetRandom.fill(script_.U8());
    }
    Append(payload, exchange_.targetRandom);
    Append(payload, exchange_.targetGuid);
    const Secret code = Rakp2Code(*suite_, credentials_.Password(), exchange_);
    Append(payload, code.View());
  }

  void AnswerRakp3(ByteView in, Bytes& payload) {
    if (in[1] != 0) {
      return;  // the library gives a session up
    }
    // It goes on only where message 2 was right, and then message 3 must be.
    FUZZ_CHECK(SameBytes(in.subspan(8), Rakp3Code(*suite_, credentials_.Password(), exchange_).View()));
    const Secret key = SessionIntegrityKey(*suite_, credentials_.Password(), exchange_);
    session_ = std::make_unique<RmcpPlusSession>(*suite_, key, exchange_.targetId, exchange_.consoleId);
    const Secret code = Rakp4Code(*suite_, key, exchange_);
    Append(payload, code.First(suite_->integritySize));
  }

  Text::ByteReader script_;
  const Credentials credentials_;
  const CipherSuite* suite_ = &kSuite3;
  RakpExchange exchange_;
  std::unique_ptr<RmcpPlusSession> session_;
  bool used_ = false;  ///< something has come in the session
  AuthType authType_ = AuthType::None;
  u32 sequence15_ = 0;
  bool secured_ = false;
  Reply told_;
};

}  // namespace Kelvar::Fuzz
