#pragma once

#include "transport/ipmi/IpmiClientInterface.h"
#include "transport/ipmi/IpmiTimings.h"

namespace Kelvar::Ipmi {

/// The transport that an IpmiClient uses.
class IpmiTransport {
 public:
  virtual ~IpmiTransport() = default;
  virtual CONNECTIONSTATE Open(const IpmiTimings& timings) = 0;
  virtual void Close() noexcept = 0;
  /// As IpmiClientInterface::send; `completionCode` holds 0xFF and `response` is empty at the start.
  virtual int Send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) = 0;
  /// How often the command of the last Send was sent.
  virtual u32 Transmissions() const = 0;
};

/// Results of `send` other than 0.
inline constexpr int kSendNotConnected = 1;
inline constexpr int kSendNoAnswer = 2;
inline constexpr int kSendNotPossible = 3;  ///< the request cannot be put into a message
inline constexpr int kSendNoTime = 4;       ///< the time for the operation is over: nothing was sent

}  // namespace Kelvar::Ipmi
