#include "module/reader/ipmi/CommandRunner.h"

#include <array>
#include <cstdio>
#include <thread>

#include "common/log/LogMacros.h"
#include "module/reader/ipmi/ReplySizes.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kDenied = 0xD4;
constexpr u8 kFirmwareFirewall = 0xD6;

/// Storage that is busy, such as the EEPROM of a FRU: the transport has asked again already.
bool IsBusyStorage(u8 code, u8 netFn) noexcept {
  return netFn == kNetFnStorage && (code == kCodeNodeBusy || code == kCodeFruBusy);
}

Outcome OutcomeOf(u8 code) noexcept {
  switch (code) {
    case 0x00:
      return Outcome::Done;
    case 0x80:  // parameter not supported
    case kCodeInvalidCommand:
    case 0xC2:
    case 0xD5:
    case kFirmwareFirewall:
      return Outcome::NotOffered;
    case kDenied:
      return Outcome::Denied;
    case 0xC9:
    case 0xCB:
    case 0xCC:
    case 0xCD:
      return Outcome::NotPresent;
    case 0xC7:
    case 0xC8:
    case 0xCA:
      return Outcome::LengthRefused;
    case 0xC5:
      return Outcome::ReservationLost;
    default:
      return Outcome::Failed;
  }
}

/// A reply that is too short for what it says it is counts as a failure.
Outcome OutcomeOf(const IPMICOMMAND& command, u8 code, std::size_t size) noexcept {
  return code == 0 && size < LeastReplySize(command) ? Outcome::Failed : OutcomeOf(code);
}

std::string CodeText(u8 code) {
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "completion code 0x%02x", unsigned{code});
  return text.data();
}

/// The bus was busy, or disturbed.
bool IsPassing(u8 code) noexcept {
  return code == 0x81 || code == 0x82 || IsBusyCode(code);
}

/// Send Message itself is what the target refuses: the next one would fare no better.
bool IsNoBridge(u8 code) noexcept {
  return code == kCodeInvalidCommand || code == kDenied || code == kFirmwareFirewall || code == 0xCC || code == 0xC9;
}

/// A command about one sensor, record or FRU device: what is refused may be that one alone.
bool NamesItem(const IPMICOMMAND& command) noexcept {
  return !command.data.empty() && (command.netFn == kNetFnSensorEvent || command.netFn == kNetFnStorage);
}

/// Logical units of a satellite are reached, or not, together.
ControllerAddress PlaceOf(const ControllerAddress& to) noexcept {
  return {to.address, to.channel, to.IsBridged() ? u8{0} : to.lun};
}

}  // namespace

std::string NameOf(const ControllerAddress& place) {
  std::array<char, 32> text{};
  if (place.IsBridged()) {
    (void)std::snprintf(text.data(), text.size(), "controller 0x%02x", unsigned{place.address});
  } else if (!place.IsPlain()) {
    (void)std::snprintf(text.data(), text.size(), "logical unit %u", unsigned{place.lun});
  }
  return text.data();
}

Clock::TimePoint SystemClock::Now() {
  return std::chrono::steady_clock::now();
}

void SystemClock::Sleep(std::chrono::milliseconds pause) {
  std::this_thread::sleep_for(pause);
}

std::string CommandReply::Text() const {
  if (outcome == Outcome::Silent) {
    return "no response";
  }
  if (outcome == Outcome::Late) {
    return "the time was over";
  }
  if (outcome == Outcome::Stopped) {
    return "the target has stopped responding";
  }
  if (outcome == Outcome::LoggedOut) {
    return "the session was lost, and the login to another one refused";
  }
  if (outcome == Outcome::Denied) {
    return "the privilege does not suffice";
  }
  if (outcome == Outcome::Unreached || outcome == Outcome::GivenUp) {
    const std::string why = completionCode == 0xFF ? "no response" : "not handed on: " + CodeText(completionCode);
    return why + (outcome == Outcome::GivenUp ? "; given up" : "");
  }
  return completionCode == 0 ? "unusable response" : CodeText(completionCode);
}

FailureCause CommandReply::Cause() const noexcept {
  switch (outcome) {
    case Outcome::Silent:
    case Outcome::Stopped:
      return FailureCause::Unreachable;
    case Outcome::LoggedOut:
      return FailureCause::LoginRefused;
    case Outcome::NotOffered:
    case Outcome::NotPresent:
    case Outcome::Denied:
    case Outcome::Unreached:
    case Outcome::GivenUp:
      return FailureCause::NotOffered;
    case Outcome::Late:
      return FailureCause::Deadline;
    default:
      return FailureCause::BadData;
  }
}

CommandReply CommandRunner::Run(const ControllerAddress& to, u8 netFn, u8 command, std::vector<u8> data) {
  const IPMICOMMAND request{command, std::move(data), netFn};
  if (const auto refusal = refused_.find({to, netFn, command}); refusal != refused_.end()) {
    return {OutcomeOf(refusal->second), refusal->second, {}};
  }
  if (mute_.count({to, netFn, command}) != 0) {
    return {Outcome::Silent, 0xFF, {}};
  }
  CommandReply reply = Answer(to, request);
  if (!to.IsPlain()) {
    NoteReach(to, reply);
  }
  if (reply.outcome == Outcome::Silent) {
    TellSilence(request);
  } else if (reply.outcome != Outcome::Unreached && reply.outcome != Outcome::GivenUp) {
    Remember(to, request, reply);
  }
  return reply;
}

CommandReply CommandRunner::Answer(const ControllerAddress& to, const IPMICOMMAND& command) {
  const auto known = to.IsPlain() ? ahead_.find({command.netFn, command.command, command.data}) : ahead_.end();
  if (known != ahead_.end()) {
    return std::move(ahead_.extract(known).mapped());
  }
  CommandReply reply = Once(to, command);
  for (unsigned attempt = 0; MayRetry(reply, command.netFn, attempt) && !IsOver(); ++attempt) {
    reply = Once(to, command);
  }
  return reply;
}

std::vector<const CommandReply*> CommandRunner::PrefetchMore(u8 netFn, u8 command,
                                                             const std::vector<std::vector<u8>>& requests) {
  std::vector<const CommandReply*> replies(requests.size());
  const Command kind{ControllerAddress(), netFn, command};
  if (requests.size() < 2 || requests.size() > kMostAhead || refused_.count(kind) != 0 || mute_.count(kind) != 0 ||
      IsOver()) {
    return replies;
  }
  std::vector<Kelvar::Ipmi::QueuedCommand> queue;
  queue.reserve(requests.size());
  for (const std::vector<u8>& data : requests) {
    queue.push_back({{command, data, netFn}});
  }
  client_.SendAhead(queue);
  for (std::size_t at = 0; at < queue.size(); ++at) {
    Kelvar::Ipmi::QueuedCommand& queued = queue[at];
    const Outcome outcome = OutcomeOf(queued.command, queued.completionCode, queued.response.size());
    // What may be answered otherwise when it is asked again, is asked again.
    if (queued.answered && (outcome == Outcome::Done || outcome == Outcome::NotPresent)) {
      silences_ = 0;
      replies[at] = &(
          ahead_[{netFn, command, queued.command.data}] = {outcome, queued.completionCode, std::move(queued.response)});
    }
  }
  return replies;
}

void CommandRunner::Remember(const ControllerAddress& to, const IPMICOMMAND& command, const CommandReply& reply) {
  const u8 code = reply.completionCode;
  const Command kind{to, command.netFn, command.command};
  const bool refused =
      code == kCodeInvalidCommand || code == kFirmwareFirewall || (code == kDenied && command.netFn != kNetFnTransport);
  unsigned& refusals = refusals_[kind];
  refusals = refused ? refusals + 1 : 0;
  if (reply.Ok()) {
    performed_.insert(kind);
  }
  const bool missing = performed_.count(kind) == 0 && (!NamesItem(command) || refusals >= kMostRefusals);
  if (refused && missing) {
    refused_[kind] = code;
  }
  if (to.IsPlain()) {
    busyCommands_ = reply.outcome == Outcome::Failed && IsBusyCode(code) ? busyCommands_ + 1 : 0;
  }
}

/// Some targets drop what they do not know: only one that does not answer to its name either is gone.
void CommandRunner::TellSilence(const IPMICOMMAND& command) {
  if (++silences_ != kMostSilences || IsLate()) {
    return;
  }
  silences_ = 0;
  if (Once({}, {kGetDeviceId, {}, kNetFnApplication}).outcome != Outcome::Silent) {
    mute_.insert({ControllerAddress(), command.netFn, command.command});
    return;
  }
  silences_ = kMostSilences;
}

CommandReply CommandRunner::Once(const ControllerAddress& to, const IPMICOMMAND& command) {
  CommandReply reply;
  if (IsOver()) {
    reply.outcome = WhyOver();
    return reply;
  }
  if (const auto place = unreached_.find(PlaceOf(to)); place != unreached_.end() && place->second >= kMostUnreached) {
    reply.outcome = Outcome::GivenUp;
    return reply;
  }
  int failure = Kelvar::Ipmi::kSendNoAnswer;
  try {
    failure = client_.SendTo(to, command, reply.data, reply.completionCode);
    if (failure == Kelvar::Ipmi::kSendNoAnswer && client_.RenewIfLost()) {
      failure = client_.SendTo(to, command, reply.data, reply.completionCode);
    }
  } catch (const IpmiException& exception) {
    KELVAR_LOG(1) << "IPMI reading: the transport failed: " << exception.getErrorMsg();
  }
  if (failure != 0) {
    return Unanswered(to, failure, reply.completionCode);
  }
  silences_ = to.IsPlain() ? 0 : silences_;
  reply.outcome = OutcomeOf(command, reply.completionCode, reply.data.size());
  return reply;
}

CommandReply CommandRunner::Unanswered(const ControllerAddress& to, int failure, u8 completionCode) {
  if (client_.IsLoggedOut()) {
    return {Outcome::LoggedOut, completionCode, {}};
  }
  if (to.IsPlain()) {
    return {Outcome::Silent, completionCode, {}};
  }
  return {Outcome::Unreached, failure == Kelvar::Ipmi::kSendNotHandedOn ? completionCode : u8{0xFF}, {}};
}

void CommandRunner::NoteReach(const ControllerAddress& to, const CommandReply& reply) {
  if (reply.IsUnsent() && reply.outcome != Outcome::GivenUp) {
    return;
  }
  unsigned& failures = unreached_[PlaceOf(to)];
  if (reply.outcome == Outcome::Unreached) {
    failures = IsNoBridge(reply.completionCode) ? kMostUnreached : failures + 1;
    if (failures >= kMostUnreached) {
      KELVAR_LOG(2) << "IPMI reading: " << NameOf(to) << " is given up: " << reply.Text();
    }
  } else if (reply.outcome != Outcome::GivenUp) {
    failures = 0;
  }
}

bool CommandRunner::MayRetry(const CommandReply& reply, u8 netFn, unsigned attempt) {
  static constexpr std::array<std::chrono::milliseconds, 4> kPauses = {
      std::chrono::milliseconds(50), std::chrono::milliseconds(100), std::chrono::milliseconds(200),
      std::chrono::milliseconds(500)};
  constexpr unsigned kMostBusyCommands = 3;
  std::size_t tries = 0;
  if (reply.outcome == Outcome::Unreached) {
    tries = IsPassing(reply.completionCode) ? 2 : 0;
  } else if (reply.outcome == Outcome::Failed && !IsBusyStorage(reply.completionCode, netFn)) {
    tries = IsBusyCode(reply.completionCode) && busyCommands_ < kMostBusyCommands ? kPauses.size() : 1;
  }
  if (attempt >= tries) {
    return false;
  }
  clock_.Sleep(kPauses[attempt]);
  return true;
}

}  // namespace Kelvar::Reader::Ipmi
