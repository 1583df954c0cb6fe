#pragma once

#include <optional>
#include <string>

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
};

/// Account on the target; the password is wiped with the object.
struct Credentials {
  std::string user;
  std::string password;

  Credentials(std::string userName, const std::string& secret) : user(std::move(userName)), password(secret) {}
  Credentials(const Credentials&) = delete;
  Credentials& operator=(const Credentials&) = delete;
  ~Credentials();
  ByteView Password() const { return {reinterpret_cast<const u8*>(password.data()), password.size()}; }
};

/// How one try to open a session ended.
enum class SessionResult {
  Opened,
  LoginRefused,
  SuiteRefused,      ///< another cipher suite may do
  SuiteUnanswered,   ///< no reply, perhaps because of the cipher suite
  PrivilegeRefused,  ///< a lower privilege may do
  Timeout,
  PortUnreachable,
  Failed,  ///< refused for another cause, which is logged
};

}  // namespace Kelvar::Ipmi
