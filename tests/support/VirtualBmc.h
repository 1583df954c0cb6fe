#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/ScriptedIpmi.h"
#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/RmcpPlusSession.h"

namespace Kelvar::Test {

/// How replies to bridged commands come.
enum class Bridging { AckFirst, ReplyFirst, Embedded, Mute, Spoiled };

/// How a service processor on the network behaves.
struct VirtualBmcConfig {
  std::string user = "admin";
  std::string password = "kelvar-demo";
  std::string bmcKey{};
  u8 highestPrivilege = 4;
  u8 privilegeRefusal = 0x0A;     ///< status of RAKP message 2 to a higher one
  std::size_t mostSessions = 63;  ///< half-open ones count too
  Bridging bridging = Bridging::AckFirst;
  bool renumbers = false;     ///< each Open Session gives its one half-open session another number
  bool dropsReplays = false;  ///< packets whose number it has seen; if not, it executes each copy
};

/// A service processor behind RMCP+ (suite 3) that executes whatever copies of a request it gets, and draws a new
/// random for each RAKP message 1. Hands Send Message on to what its machine has elsewhere. Built from the library's
/// codecs: foreign servers keep those honest elsewhere.
class VirtualBmc {
 public:
  /// Commands inside of sessions go to `machine`.
  explicit VirtualBmc(ScriptedIpmi& machine, VirtualBmcConfig config = {}) : machine_(machine), config_(config) {}

  /// Replies to one datagram.
  std::vector<std::vector<u8>> Answer(const std::vector<u8>& datagram);
  /// Sessions that it keeps, half-open ones included.
  std::size_t Sessions() const { return sessions_.size(); }
  void ForgetSessions() { sessions_.clear(); }
  void SetPassword(const std::string& password) { config_.password = password; }
  /// Logins that it counts as refused: RAKP messages 3 with a wrong code, or with the console's word that its code was.
  int RefusedLogins() const { return refusedLogins_; }
  std::size_t Executed() const { return machine_.commands.size(); }

 private:
  struct Session {
    Ipmi::RakpExchange exchange;
    std::optional<Ipmi::Secret> key;                    ///< once it is open
    std::unique_ptr<Ipmi::RmcpPlusSession> protection;  ///< numbers what it sends
  };

  std::optional<Bytes> AnswerPlain(Ipmi::ByteView message);
  Bytes AnswerOpen(Ipmi::ByteView in);
  Bytes AnswerRakp1(Ipmi::ByteView in);
  std::optional<Bytes> AnswerRakp3(Ipmi::ByteView in);
  std::vector<Bytes> AnswerInSession(const std::vector<u8>& datagram, u32 id);
  /// Messages.
  std::vector<Bytes> AnswerCommand(const Bytes& message);
  std::vector<Bytes> AnswerBridged(const Bytes& message);
  Ipmi::ByteView SessionKey() const;

  ScriptedIpmi& machine_;
  VirtualBmcConfig config_;
  std::map<u32, Session> sessions_;
  u32 nextId_ = 0x1000;
  int refusedLogins_ = 0;
};

}  // namespace Kelvar::Test
