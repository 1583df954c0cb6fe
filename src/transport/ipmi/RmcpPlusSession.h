#pragma once

#include "transport/ipmi/CipherSuite.h"
#include "transport/ipmi/LanSession.h"
#include "transport/ipmi/PacketProtection.h"

namespace Kelvar::Ipmi {

/// An open RMCP+ session: every packet authenticated and encrypted, both ways.
class RmcpPlusSession : public LanSession {
 public:
  RmcpPlusSession(const CipherSuite& suite, const Secret& sessionKey, u32 consoleId, u32 targetId);

  void Wrap(Bytes& packet, ByteView message) override;
  std::optional<ByteView> Unwrap(std::span<u8> packet) override { return Unwrap(packet, PayloadType::Ipmi); }
  /// The payload of that type.
  std::optional<ByteView> Unwrap(std::span<u8> packet, PayloadType type);
  u32 TargetId() const override { return targetId_; }
  u32 LastSequence() const override { return lastSequence_; }

 private:
  Hmac integrity_;
  AesCbc cipher_;
  const std::size_t integritySize_;
  const u32 consoleId_;
  const u32 targetId_;
  u32 sequence_ = 0;
  u32 lastSequence_ = 0;
  SequenceWindow window_;
  Bytes payload_;
};

}  // namespace Kelvar::Ipmi
