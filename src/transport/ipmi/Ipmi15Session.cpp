#include "transport/ipmi/Ipmi15Session.h"

#include <algorithm>

namespace Kelvar::Ipmi {
namespace {

Secret PaddedPassword(const Credentials& credentials) {
  std::array<u8, kPassword15Size> padded{};
  const ByteView given = credentials.Password();
  const ByteView password = given.first(std::min(given.size(), padded.size()));
  std::copy(password.begin(), password.end(), padded.begin());
  const Secret secret(padded);
  Wipe(padded);
  return secret;
}

Bytes Number(u32 value) {
  Bytes bytes;
  AppendU32(bytes, value);
  return bytes;
}

}  // namespace

Secret AuthCode15(AuthType type, ByteView password, u32 sessionId, u32 sequence, ByteView message) {
  if (type == AuthType::Password) {
    return Secret(password);
  }
  if (type != AuthType::Md5) {
    return {};
  }
  return Secret(Md5({password, Number(sessionId), message, Number(sequence), password}));
}

Ipmi15Session::Ipmi15Session(const Credentials& credentials, const Activation15& challenged, u32 firstIncoming)
    : password_(PaddedPassword(credentials)), state_(challenged), window_(firstIncoming - 1) {}

void Ipmi15Session::Wrap(Bytes& packet, ByteView message) {
  const Secret code = AuthCode15(state_.authType, password_.View(), state_.sessionId, state_.sequence, message);
  AppendIpmi15Packet(packet, {state_.authType, state_.sequence, state_.sessionId, code.View(), message});
  // Packets before the activation have the number 0; no packet after it has.
  if (state_.sequence != 0) {
    state_.sequence = state_.sequence == 0xFFFFFFFFU ? 1 : state_.sequence + 1;
  }
}

std::optional<ByteView> Ipmi15Session::Unwrap(std::span<u8> packet) {
  const auto fields = ParseIpmi15Packet(packet);
  if (!fields || fields->authType != state_.authType || fields->sessionId != state_.sessionId) {
    return std::nullopt;
  }
  const Secret code =
      AuthCode15(fields->authType, password_.View(), fields->sessionId, fields->sequence, fields->message);
  const bool activated = state_.sequence != 0;
  if (!SameBytes(code.View(), fields->authCode) || (activated && !window_.Take(fields->sequence))) {
    return std::nullopt;
  }
  lastSequence_ = fields->sequence;
  return fields->message;
}

}  // namespace Kelvar::Ipmi
