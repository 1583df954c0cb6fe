#pragma once

#include <cstddef>
#include <memory>

#include "transport/ipmi/AddressedCommands.h"
#include "transport/ipmi/IpmiClientInterface.h"
#include "transport/ipmi/IpmiTimings.h"

namespace Kelvar {

namespace Ipmi {
class DatagramPort;
class DeviceCalls;
class IpmiTransport;
struct LanTarget;
}  // namespace Ipmi

/// The IPMI transport: a session over LAN, or the local system interface. One object serves one thread at a time;
/// objects share nothing.
///
/// Over LAN, requests are sent again after waits that follow the measured round trip. Each copy has a number of its
/// own, and a copy of a reserve command does not cancel the reservation that the caller was told. Silence in a session
/// opens another one, in which the command is sent once more; `send` ends when the target has been silent for
/// `IpmiTimings::limitMs` in each, and at the end of the operation's time (ConnectionOptions).
class IpmiClient : public IpmiClientInterface, public Ipmi::AddressedCommands {
 public:
  /// A session over LAN, of the kind and with the key that ConnectionOptionsScope::Current() names. `host` is a name,
  /// an IPv4 or an IPv6 address, `port` decimal text. `cipherSuite` 3 and 17 are the cipher suites of these numbers;
  /// any other number tries 17, and 3 where the target does not offer it.
  IpmiClient(const std::string& host, const std::string& user, const std::string& password, const std::string& port,
             std::size_t cipherSuite);
  /// The same over another port.
  IpmiClient(const Ipmi::LanTarget& target, std::unique_ptr<Ipmi::DatagramPort> port);
  /// The service processor of this machine, through the driver's device of that number: "/dev/ipmi0",
  /// "/dev/ipmi/0" or "/dev/ipmidev/0".
  explicit IpmiClient(std::size_t deviceNumber);
  /// The same with other system calls.
  IpmiClient(std::size_t deviceNumber, std::unique_ptr<Ipmi::DeviceCalls> calls);
  ~IpmiClient() override;
  IpmiClient(const IpmiClient&) = delete;
  IpmiClient& operator=(const IpmiClient&) = delete;

  /// Closes what is open, then opens. IPMIAUTHFAIL when the target refuses the user or the password, IPMICONNECTFAIL
  /// for everything else: when the target was silent for `IpmiTimings::limitMs`, at the latest after
  /// `IpmiTimings::setUpLimitMs`. Names are resolved by the
  /// system, within its own time. Throws IpmiException only when libcrypto fails.
  CONNECTIONSTATE connect() override;
  void disconnect() override;
  /// Replaces `response`.
  int send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) override {
    return SendTo({}, command, response, completionCode);
  }
  /// The same. A satellite gets the command twice at most, and has IpmiTimings::bridgedWaitMs and twice that to answer.
  int SendTo(const Ipmi::ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
             u8& completionCode) override;
  void SendAhead(std::span<Ipmi::QueuedCommand> commands) override;
  bool RenewIfLost() override;
  bool IsLoggedOut() const noexcept override;
  /// Has no effect: replies are taken at any length.
  void setBlockLength(const u16& length) override;

  /// For the next `connect`.
  void SetTimings(const IpmiTimings& timings) { timings_ = timings; }

 private:
  IpmiTimings timings_;
  std::unique_ptr<Ipmi::IpmiTransport> transport_;
};

}  // namespace Kelvar
