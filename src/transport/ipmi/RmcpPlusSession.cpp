#include "transport/ipmi/RmcpPlusSession.h"

#include "transport/ipmi/Rakp.h"

namespace Kelvar::Ipmi {

RmcpPlusSession::RmcpPlusSession(const CipherSuite& suite, const Secret& sessionKey, u32 consoleId, u32 targetId)
    : integrity_(suite.digest, DerivedKey(suite, sessionKey, 1).View()),
      cipher_(DerivedKey(suite, sessionKey, 2).View()),
      integritySize_(suite.integritySize),
      consoleId_(consoleId),
      targetId_(targetId) {}

void RmcpPlusSession::Wrap(Bytes& packet, ByteView message) {
  sequence_ = sequence_ == 0xFFFFFFFFU ? 1 : sequence_ + 1;
  payload_.clear();
  AppendEncrypted(payload_, cipher_, message);
  RmcpPlusPacket fields;
  fields.encrypted = true;
  fields.authenticated = true;
  fields.sessionId = targetId_;
  fields.sequence = sequence_;
  fields.payload = payload_;
  AppendRmcpPlusPacket(packet, fields);
  AppendTrailer(packet, integrity_, integritySize_);
}

std::optional<ByteView> RmcpPlusSession::Unwrap(std::span<u8> packet, PayloadType type) {
  const auto fields = ParseRmcpPlusPacket(packet);
  if (!fields || fields->type != type || !fields->encrypted || !fields->authenticated ||
      fields->sessionId != consoleId_ || !TrailerFits(*fields, integrity_, integritySize_) ||
      !window_.Take(fields->sequence)) {
    return std::nullopt;
  }
  lastSequence_ = fields->sequence;
  const auto start = static_cast<std::size_t>(fields->payload.data() - packet.data());
  return Decrypt(packet.subspan(start, fields->payload.size()), cipher_);
}

}  // namespace Kelvar::Ipmi
