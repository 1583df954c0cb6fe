#pragma once

#include "transport/ipmi/AddressedCommands.h"
#include "transport/ipmi/IpmiTimings.h"

namespace Kelvar::Ipmi {

/// The transport that an IpmiClient uses.
class IpmiTransport {
 public:
  virtual ~IpmiTransport() = default;
  virtual CONNECTIONSTATE Open(const IpmiTimings& timings) = 0;
  virtual void Close() noexcept = 0;
  /// As AddressedCommands::SendTo; `completionCode` holds 0xFF and `response` is empty at the start.
  virtual int Send(const ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
                   u8& completionCode) = 0;
  /// As AddressedCommands::SendAhead.
  virtual void SendAhead(std::span<QueuedCommand> /*commands*/) {}
  /// As AddressedCommands::RenewIfLost.
  virtual bool RenewIfLost() { return false; }
  /// As AddressedCommands::IsLoggedOut.
  virtual bool IsLoggedOut() const noexcept { return false; }
  /// How often the command of the last Send was sent.
  virtual u32 Transmissions() const = 0;
};

}  // namespace Kelvar::Ipmi
