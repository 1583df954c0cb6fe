#pragma once

#include <span>
#include <tuple>
#include <vector>

#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar::Ipmi {

inline constexpr u8 kServiceProcessor = 0x20;

/// A logical unit of a controller.
struct ControllerAddress {
  u8 address = kServiceProcessor;  ///< slave address with a clear bit 0
  u8 channel = 0;                  ///< the bus of a satellite controller, as the service processor numbers it
  u8 lun = 0;

  /// A satellite controller: the service processor hands commands on to it.
  bool IsBridged() const noexcept { return address != kServiceProcessor; }
  /// Neither a satellite nor another logical unit.
  bool IsPlain() const noexcept { return !IsBridged() && lun == 0; }
  bool operator<(const ControllerAddress& other) const noexcept {
    return std::tie(address, channel, lun) < std::tie(other.address, other.channel, other.lun);
  }
};

/// One of several commands to LUN 0 of the service processor.
struct QueuedCommand {
  IPMICOMMAND command;
  bool answered = false;
  u8 completionCode = 0xFF;
  std::vector<u8> response{};
  double seconds = 0;  ///< from its transmission to its reply
};

/// Commands to controllers and logical units other than the service processor's LUN 0. One object serves one thread at
/// a time.
///
/// Silence of these never opens another session: it says nothing about the service processor.
class AddressedCommands {
 public:
  virtual ~AddressedCommands() = default;

  /// As IpmiClientInterface::send. kSendNotHandedOn when the service processor cannot pass the command on to the
  /// satellite; `completionCode` is the one of Send Message then: 81 lost arbitration, 82 bus error, 83 no such device.
  virtual int SendTo(const ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
                     u8& completionCode) = 0;

  /// Sends commands that do not depend on each other, several under way at a time where the target bears it. Each is
  /// sent once; those that stay without an answer are to be sent again by SendTo, which waits for them.
  virtual void SendAhead(std::span<QueuedCommand> /*commands*/) {}

  /// After a command without an answer that says nothing about the session: asks the service processor for its device
  /// ID. True when it has answered in another session, where the command may be sent again.
  virtual bool RenewIfLost() { return false; }

  /// The session was lost, and the target refused the login to another one: nothing is sent any more.
  virtual bool IsLoggedOut() const noexcept { return false; }
};

/// Results of `send` other than 0.
inline constexpr int kSendNotConnected = 1;
inline constexpr int kSendNoAnswer = 2;
inline constexpr int kSendNotPossible = 3;  ///< the request cannot be put into a message
inline constexpr int kSendNoTime = 4;       ///< the time for the operation is over: nothing was sent
inline constexpr int kSendNotHandedOn = 5;

}  // namespace Kelvar::Ipmi
