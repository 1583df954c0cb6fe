#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <kelvar/Diagnostics.h>

#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar::Reader::Ipmi {

/// Time, as a reading needs it.
class Clock {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  virtual ~Clock() = default;
  virtual TimePoint Now() = 0;
  virtual void Sleep(std::chrono::milliseconds pause) = 0;
};

class SystemClock : public Clock {
 public:
  TimePoint Now() override;
  void Sleep(std::chrono::milliseconds pause) override;
};

/// How a command ended, by what a reader does next.
enum class Outcome : u8 {
  Done,
  NotOffered,     ///< command or parameter missing, or not in this state: the target does not have it
  NotPresent,     ///< no such record, sensor, channel or offset
  Denied,         ///< the session's privilege does not suffice
  LengthRefused,  ///< asked for too many bytes
  ReservationLost,
  Failed,   ///< busy for too long, an unspecified error, or another code
  Silent,   ///< no response
  Late,     ///< not sent: the deadline has passed
  Stopped,  ///< not sent: the target has stopped responding
};

struct CommandReply {
  Outcome outcome = Outcome::Failed;
  u8 completionCode = 0xFF;
  std::vector<u8> data;

  bool Ok() const noexcept { return outcome == Outcome::Done; }
  /// The target does not have what was asked for.
  bool IsAbsent() const noexcept { return outcome == Outcome::NotOffered || outcome == Outcome::NotPresent; }
  /// For people: "completion code 0xc0", "no response".
  std::string Text() const;
  /// Why there are no data.
  FailureCause Cause() const noexcept;
};

/// Performs commands in an open session and sorts their results.
///
/// A busy target is asked again after growing pauses, a few times. A command that the target does not have is
/// remembered and not sent again; so is one that asks for a higher privilege. After three commands in a row without a
/// response nothing is sent any more.
class CommandRunner {
 public:
  CommandRunner(IpmiClientInterface& client, Clock& clock, std::optional<Clock::TimePoint> deadline)
      : client_(client), clock_(clock), deadline_(deadline) {}

  CommandReply Run(u8 netFn, u8 command, std::vector<u8> data = {});

  /// The deadline has passed.
  bool IsLate() { return deadline_ && clock_.Now() >= *deadline_; }
  /// Nothing is sent any more.
  bool IsOver() { return silences_ >= kMostSilences || IsLate(); }

 private:
  static constexpr unsigned kMostSilences = 3;

  CommandReply Once(const IPMICOMMAND& command);
  bool MayRetry(const CommandReply& reply, u8 netFn, unsigned attempt);

  IpmiClientInterface& client_;
  Clock& clock_;
  std::optional<Clock::TimePoint> deadline_;
  std::map<u16, u8> refused_;  ///< completion codes of commands that are not sent again, by network function, command
  unsigned silences_ = 0;
};

}  // namespace Kelvar::Reader::Ipmi
