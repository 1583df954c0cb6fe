#pragma once

#include <array>

#include "transport/ipmi/LanSession.h"
#include "transport/ipmi/PacketProtection.h"

namespace Kelvar::Ipmi {

/// Numbers that both sides agree on when an IPMI 1.5 session is activated.
struct Activation15 {
  AuthType authType = AuthType::None;
  u32 sessionId = 0;
  u32 sequence = 0;  ///< of our next packet
};

/// The authentication code of a packet, which may be the password itself; none when the type is None. `password` has 16
/// bytes.
Secret AuthCode15(AuthType type, ByteView password, u32 sessionId, u32 sequence, ByteView message);

/// An IPMI 1.5 session, from the challenge on. The credentials must outlive it.
class Ipmi15Session : public LanSession {
 public:
  /// `challenged` names the temporary session; the target is told to number its packets from `firstIncoming` on.
  Ipmi15Session(const Credentials& credentials, const Activation15& challenged, u32 firstIncoming);

  void Activate(const Activation15& activated) { state_ = activated; }
  void Wrap(Bytes& packet, ByteView message) override;
  std::optional<ByteView> Unwrap(std::span<u8> packet) override;
  u32 TargetId() const override { return state_.sessionId; }
  u32 LastSequence() const override { return lastSequence_; }

 private:
  Secret password_;
  Activation15 state_;
  SequenceWindow window_;
  u32 lastSequence_ = 0;
};

}  // namespace Kelvar::Ipmi
