#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <kelvar/Diagnostics.h>

#include "transport/ipmi/AddressedCommands.h"

namespace Kelvar::Reader::Ipmi {

using Kelvar::Ipmi::ControllerAddress;

/// "controller 0x2c", "logical unit 3"; for the service processor's own commands "".
std::string NameOf(const ControllerAddress& place);

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
  Failed,     ///< busy for too long, an unspecified error, or another code
  Silent,     ///< no response
  Late,       ///< not sent: the deadline has passed
  Stopped,    ///< not sent: the target has stopped responding
  LoggedOut,  ///< the session was lost, and the target refused the login to another one
  Unreached,  ///< a satellite or another logical unit did not respond, or the target could not hand the command on
  GivenUp,    ///< not sent: it was unreached too often
};

struct CommandReply {
  Outcome outcome = Outcome::Failed;
  u8 completionCode = 0xFF;
  std::vector<u8> data;

  bool Ok() const noexcept { return outcome == Outcome::Done; }
  /// The target does not have what was asked for.
  bool IsAbsent() const noexcept { return outcome == Outcome::NotOffered || outcome == Outcome::NotPresent; }
  /// So is every other command to that place from now on.
  bool IsUnsent() const noexcept {
    return outcome == Outcome::Late || outcome == Outcome::Stopped || outcome == Outcome::LoggedOut ||
           outcome == Outcome::GivenUp;
  }
  /// For people: "completion code 0xc0", "no response".
  std::string Text() const;
  /// Why there are no data.
  FailureCause Cause() const noexcept;
};

/// Performs commands in an open session and sorts their results.
///
/// A busy target is asked again after growing pauses, a few times; once alone after three commands in a row that it was
/// too busy for, and after a reply that is shorter than it can be. A command that the target does not have, and has not
/// performed before, is remembered and not sent again; so is one that asks for a higher privilege. One about a sensor,
/// record or FRU device counts so when the target refused it for three in a row. After three commands in a row without
/// a response the target is asked for its device ID: when it answers, the last one of the three is not sent again, else
/// nothing is sent any more.
///
/// A command in a session that turns out to be lost is sent once more in the next one. Where the target refuses the
/// login to that, nothing is sent any more.
///
/// A satellite or logical unit that is unreached twice in a row is given up; that never counts against the target.
class CommandRunner {
 public:
  /// `cancelled`, where there is one, counts as a deadline that has passed.
  CommandRunner(Kelvar::Ipmi::AddressedCommands& client, Clock& clock, std::optional<Clock::TimePoint> deadline,
                const std::atomic<bool>* cancelled = nullptr)
      : client_(client), clock_(clock), deadline_(deadline), cancelled_(cancelled) {}

  CommandReply Run(u8 netFn, u8 command, std::vector<u8> data = {}) { return Run({}, netFn, command, std::move(data)); }
  CommandReply Run(const ControllerAddress& to, u8 netFn, u8 command, std::vector<u8> data = {});

  /// Asks for what Run will be asked for next, several under way at a time where the target bears it; what the target
  /// answers so is what Run gives then, once. What was asked for ahead before, and not run, is forgotten. Gives the
  /// replies that came, in the order of `requests`; null for the others.
  std::vector<const CommandReply*> Prefetch(u8 netFn, u8 command, const std::vector<std::vector<u8>>& requests) {
    ahead_.clear();
    return PrefetchMore(netFn, command, requests);
  }
  /// The same without forgetting anything.
  std::vector<const CommandReply*> PrefetchMore(u8 netFn, u8 command, const std::vector<std::vector<u8>>& requests);
  static constexpr std::size_t kMostAhead = 64;

  /// The deadline has passed.
  bool IsLate() { return (cancelled_ != nullptr && *cancelled_) || (deadline_ && clock_.Now() >= *deadline_); }
  /// Nothing is sent any more.
  bool IsOver() { return silences_ >= kMostSilences || client_.IsLoggedOut() || IsLate(); }
  /// Why.
  Outcome WhyOver() { return client_.IsLoggedOut() ? Outcome::LoggedOut : IsLate() ? Outcome::Late : Outcome::Stopped; }

 private:
  static constexpr unsigned kMostSilences = 3;

  static constexpr unsigned kMostUnreached = 2;
  static constexpr unsigned kMostRefusals = 3;
  using Command = std::tuple<ControllerAddress, u8, u8>;

  CommandReply Answer(const ControllerAddress& to, const IPMICOMMAND& command);
  CommandReply Once(const ControllerAddress& to, const IPMICOMMAND& command);
  CommandReply Unanswered(const ControllerAddress& to, int failure, u8 completionCode);
  void TellSilence(const IPMICOMMAND& command);
  void Remember(const ControllerAddress& to, const IPMICOMMAND& command, const CommandReply& reply);
  bool MayRetry(const CommandReply& reply, u8 netFn, unsigned attempt);
  /// What a reply says of the place that it should have come from.
  void NoteReach(const ControllerAddress& to, const CommandReply& reply);

  Kelvar::Ipmi::AddressedCommands& client_;
  Clock& clock_;
  std::optional<Clock::TimePoint> deadline_;
  const std::atomic<bool>* cancelled_;
  std::map<std::tuple<u8, u8, std::vector<u8>>, CommandReply> ahead_;  ///< replies that nobody asked for yet
  std::map<Command, u8> refused_;         ///< completion codes of commands that are not sent again
  std::map<Command, unsigned> refusals_;  ///< in a row
  std::set<Command> performed_;
  std::set<Command> mute_;  ///< commands that are not sent again, since they get no response
  std::map<ControllerAddress, unsigned> unreached_;
  unsigned silences_ = 0;      ///< in a row
  unsigned busyCommands_ = 0;  ///< in a row, given up
};

}  // namespace Kelvar::Reader::Ipmi
