#pragma once

#include <string_view>
#include <vector>

#include <kelvar/Diagnostics.h>

#include "transport/ipmi/AddressedCommands.h"

namespace Kelvar::Ipmi {

/// What a completion code other than 0 says of a command that the target refuses for good; None for all others.
FailureCause CauseOfCompletion(u8 completionCode) noexcept;

/// How a session set-up, or the opening of the local device, ended.
struct SetUpOutcome {
  FailureCause cause = FailureCause::None;
  std::string_view text;  ///< for people
  u32 transmissions = 1;
  double seconds = 0;
};

/// Hands a set-up to whoever listens on this thread; a session, or a kind of session that the target does not offer,
/// means that IPMI is spoken there.
void RecordSetUp(const SetUpOutcome& outcome) noexcept;

/// How a command ended: `failure` is the result of `send`.
struct CommandOutcome {
  int failure = 0;
  u8 completionCode = 0xFF;
  std::size_t bytes = 0;
  u32 transmissions = 1;
  double seconds = 0;
};

/// Hands a command to whoever listens on this thread. The bytes of the request stay out: those of some are secret.
void RecordCommand(const ControllerAddress& to, const IPMICOMMAND& command, const CommandOutcome& outcome) noexcept;

}  // namespace Kelvar::Ipmi
