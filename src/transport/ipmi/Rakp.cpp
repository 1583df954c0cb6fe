#include "transport/ipmi/Rakp.h"

#include <algorithm>

#include "common/text/ByteReader.h"

namespace Kelvar::Ipmi {
namespace {

void AppendAlgorithm(Bytes& to, u8 payload, u8 algorithm) {
  const u8 proposal[] = {payload, 0, 0, 8, algorithm, 0, 0, 0};
  Append(to, proposal);
}

u8 ReadAlgorithm(Text::ByteReader& reader) {
  reader.Skip(4);
  const u8 algorithm = reader.U8() & 0x3F;
  reader.Skip(3);
  return algorithm;
}

void ReadInto(Text::ByteReader& reader, Random16& to) {
  const ByteView bytes = reader.Bytes(to.size());
  std::copy(bytes.begin(), bytes.end(), to.begin());
}

/// Tag, status and, unless the reply is one of the short refusals, the session ID.
template <typename T>
bool ReadHead(Text::ByteReader& reader, T& reply) {
  reply.tag = reader.U8();
  reply.status = reader.U8();
  if (reader.Ok() && reply.status != RakpStatus::kOk && reader.Remaining() < 6) {
    return true;
  }
  reader.Skip(2);
  reply.consoleId = reader.U32();
  return reader.Ok();
}

/// Role, length and characters of the user name, as all codes end.
Bytes RoleAndName(const RakpExchange& exchange) {
  Bytes bytes{exchange.role, static_cast<u8>(exchange.user.size())};
  bytes.insert(bytes.end(), exchange.user.begin(), exchange.user.end());
  return bytes;
}

Bytes Id(u32 value) {
  Bytes bytes;
  AppendU32(bytes, value);
  return bytes;
}

}  // namespace

bool MeansSuiteRefused(u8 status) {
  constexpr u8 kStatuses[] = {0x03, 0x04, 0x05, 0x06, 0x07, 0x10, 0x11, 0x12};
  return std::find(std::begin(kStatuses), std::end(kStatuses), status) != std::end(kStatuses);
}

bool MeansPrivilegeRefused(u8 status) {
  return status == RakpStatus::kInvalidRole || status == RakpStatus::kUnauthorizedRole ||
         status == RakpStatus::kNoResourcesForRole;
}

bool MeansLoginRefused(u8 status) {
  return status == RakpStatus::kInvalidNameLength || status == RakpStatus::kUnauthorizedName ||
         status == RakpStatus::kUnauthorizedGuid || status == RakpStatus::kInvalidIntegrityCheck;
}

Bytes EncodeOpenSessionRequest(u8 tag, Privilege privilege, u32 consoleId, const CipherSuite& suite) {
  Bytes bytes{tag, static_cast<u8>(privilege), 0, 0};
  AppendU32(bytes, consoleId);
  AppendAlgorithm(bytes, 0, suite.authentication);
  AppendAlgorithm(bytes, 1, suite.integrity);
  AppendAlgorithm(bytes, 2, suite.confidentiality);
  return bytes;
}

std::optional<OpenSessionReply> DecodeOpenSessionReply(ByteView payload) {
  Text::ByteReader reader(payload);
  OpenSessionReply reply;
  if (!ReadHead(reader, reply)) {
    return std::nullopt;
  }
  if (reply.status == RakpStatus::kOk) {
    reply.targetId = reader.U32();
    reply.authentication = ReadAlgorithm(reader);
    reply.integrity = ReadAlgorithm(reader);
    reply.confidentiality = ReadAlgorithm(reader);
  }
  return reader.Ok() ? std::optional(reply) : std::nullopt;
}

Bytes EncodeRakp1(u8 tag, const RakpExchange& exchange) {
  Bytes bytes{tag, 0, 0, 0};
  AppendU32(bytes, exchange.targetId);
  Append(bytes, exchange.consoleRandom);
  const u8 role[] = {exchange.role, 0, 0, static_cast<u8>(exchange.user.size())};
  Append(bytes, role);
  bytes.insert(bytes.end(), exchange.user.begin(), exchange.user.end());
  return bytes;
}

std::optional<RakpReply> DecodeRakp2(ByteView payload) {
  Text::ByteReader reader(payload);
  RakpReply reply;
  if (!ReadHead(reader, reply)) {
    return std::nullopt;
  }
  if (reply.status == RakpStatus::kOk) {
    ReadInto(reader, reply.targetRandom);
    ReadInto(reader, reply.targetGuid);
    const ByteView code = reader.Rest();
    reply.code.assign(code.begin(), code.end());
  }
  return reader.Ok() ? std::optional(reply) : std::nullopt;
}

Bytes EncodeRakp3(u8 tag, u8 status, u32 targetId, ByteView code) {
  Bytes bytes{tag, status, 0, 0};
  AppendU32(bytes, targetId);
  Append(bytes, code);
  return bytes;
}

std::optional<RakpReply> DecodeRakp4(ByteView payload) {
  Text::ByteReader reader(payload);
  RakpReply reply;
  if (!ReadHead(reader, reply)) {
    return std::nullopt;
  }
  const ByteView code = reader.Rest();
  reply.code.assign(code.begin(), code.end());
  return reply;
}

Secret Rakp2Code(const CipherSuite& suite, ByteView password, const RakpExchange& exchange) {
  return Hmac(suite.digest, password)
      .Of({Id(exchange.consoleId), Id(exchange.targetId), exchange.consoleRandom, exchange.targetRandom,
           exchange.targetGuid, RoleAndName(exchange)});
}

Secret Rakp3Code(const CipherSuite& suite, ByteView password, const RakpExchange& exchange) {
  return Hmac(suite.digest, password).Of({exchange.targetRandom, Id(exchange.consoleId), RoleAndName(exchange)});
}

Secret SessionIntegrityKey(const CipherSuite& suite, ByteView key, const RakpExchange& exchange) {
  return Hmac(suite.digest, key).Of({exchange.consoleRandom, exchange.targetRandom, RoleAndName(exchange)});
}

Secret Rakp4Code(const CipherSuite& suite, const Secret& sessionKey, const RakpExchange& exchange) {
  return Hmac(suite.digest, sessionKey.View()).Of({exchange.consoleRandom, Id(exchange.targetId), exchange.targetGuid});
}

Secret DerivedKey(const CipherSuite& suite, const Secret& sessionKey, u8 number) {
  std::array<u8, 20> constant{};
  constant.fill(number);
  return Hmac(suite.digest, sessionKey.View()).Of(constant);
}

}  // namespace Kelvar::Ipmi
