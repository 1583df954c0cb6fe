#pragma once

#include <array>
#include <optional>

#include "transport/ipmi/IpmiCommands.h"
#include "transport/ipmi/IpmiMessage.h"

namespace Kelvar::Ipmi {

/// The reservations that a target holds valid. A reserve command that reaches the target twice cancels the reservation
/// of its first reply: the reply that the target made last counts, whenever it arrives, and commands that name the
/// first one go out with the last one.
class Reservations {
 public:
  /// Any reply of the session; `sequence` is the number of its packet.
  void Note(const ReceivedReply& received, u32 sequence);
  /// What the caller was told.
  void NoteTold(const IPMICOMMAND& command, const Reply& reply);
  /// The command with the reservation that is valid in place of the one that the caller was told.
  IPMICOMMAND Renewed(const IPMICOMMAND& command) const;

 private:
  struct Row {
    u8 netFn;
    u8 reserve;
    u8 use;  ///< the command whose data begin with a reservation
    std::optional<u16> told{};
    std::optional<u16> valid{};
    u32 sequence = 0;  ///< of the packet that `valid` came in
  };

  /// Sensor data records of the repository and of a device, system event log.
  std::array<Row, 3> rows_{{{kNetFnStorage, kReserveSdrRepository, kGetSdr},
                            {kNetFnSensorEvent, kReserveDeviceSdr, kGetDeviceSdr},
                            {kNetFnStorage, kReserveSel, kGetSelEntry}}};
};

}  // namespace Kelvar::Ipmi
