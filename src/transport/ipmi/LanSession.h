#pragma once

#include <optional>
#include <string>

#include "common/text/Secret.h"
#include "transport/ipmi/RmcpPacket.h"

namespace Kelvar::Ipmi {

/// How IPMI messages travel in packets: outside of a session, in an IPMI 1.5 session, in an RMCP+ session.
class LanSession {
 public:
  virtual ~LanSession() = default;
  /// Appends a packet around the message; each call is a transmission of its own to the target.
  virtual void Wrap(Bytes& packet, ByteView message) = 0;
  /// The message in a packet, which may be decrypted in place; nothing for packets that are not this session's.
  virtual std::optional<ByteView> Unwrap(std::span<u8> packet) = 0;
  /// What Close Session names; 0 when there is nothing to close.
  virtual u32 TargetId() const = 0;
  /// The target's number of the packet that was unwrapped last.
  virtual u32 LastSequence() const = 0;
};

/// Messages before a session is open.
class NoSession : public LanSession {
 public:
  void Wrap(Bytes& packet, ByteView message) override {
    Ipmi15Packet plain;
    plain.message = message;
    AppendIpmi15Packet(packet, plain);
  }
  std::optional<ByteView> Unwrap(std::span<u8> packet) override {
    const auto plain = ParseIpmi15Packet(packet);
    if (!plain || plain->authType != AuthType::None || plain->sessionId != 0) {
      return std::nullopt;
    }
    return plain->message;
  }
  u32 TargetId() const override { return 0; }
  u32 LastSequence() const override { return 0; }
};

/// Account on the target, and the key of the target's own where it has one.
struct Credentials {
  std::string user;
  Text::Secret password;
  Text::Secret bmcKey;  ///< K_G of IPMI 2.0

  Credentials(std::string userName, std::string_view secret, std::string_view key = {})
      : user(std::move(userName)), password(secret), bmcKey(key) {}
  ByteView Password() const { return BytesOf(password); }
  /// What the session keys of RMCP+ are made with.
  ByteView SessionKey() const { return BytesOf(bmcKey.Empty() ? password : bmcKey); }

 private:
  static ByteView BytesOf(const Text::Secret& secret) {
    return {reinterpret_cast<const u8*>(secret.View().data()), secret.View().size()};
  }
};

/// How one try to open a session ended.
enum class SessionResult {
  Opened,
  LoginRefused,
  BmcKeyRefused,     ///< the password is right, the BMC key is not
  SuiteRefused,      ///< another cipher suite may do
  SuiteUnanswered,   ///< no reply, perhaps because of the cipher suite
  LoginUnanswered,   ///< the target opens sessions, but did not answer the login
  PrivilegeRefused,  ///< a lower privilege may do
  NoSessionLeft,     ///< the target serves no more sessions for now
  NotOffered,        ///< the target does not offer the kind of session that was asked for
  UnknownHost,
  Timeout,
  PortUnreachable,
  Failed,  ///< refused for another cause, which is logged
};

}  // namespace Kelvar::Ipmi
