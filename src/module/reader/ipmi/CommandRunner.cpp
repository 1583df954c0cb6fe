#include "module/reader/ipmi/CommandRunner.h"

#include <array>
#include <cstdio>
#include <thread>

#include "common/log/LogMacros.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kInvalidCommand = 0xC1;
constexpr u8 kDenied = 0xD4;
constexpr u8 kFirmwareFirewall = 0xD6;

bool IsBusy(u8 code) noexcept {
  switch (code) {
    case 0xC0:
    case 0xC3:
    case 0xCE:
    case 0xCF:
    case 0xD0:
    case 0xD1:
    case 0xD2:
    case 0xD3:
      return true;
    default:
      return false;
  }
}

/// Storage that is busy, such as the EEPROM of a FRU: the transport has asked again already.
bool IsBusyStorage(u8 code, u8 netFn) noexcept {
  constexpr u8 kStorage = 0x0A;
  constexpr u8 kNodeBusy = 0xC0;
  constexpr u8 kDeviceBusy = 0x81;
  return netFn == kStorage && (code == kNodeBusy || code == kDeviceBusy);
}

Outcome OutcomeOf(u8 code) noexcept {
  switch (code) {
    case 0x00:
      return Outcome::Done;
    case 0x80:  // parameter not supported
    case kInvalidCommand:
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

u16 KeyOf(const IPMICOMMAND& command) noexcept {
  return static_cast<u16>(command.netFn << 8 | command.command);
}

}  // namespace

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
  if (outcome == Outcome::Denied) {
    return "the privilege does not suffice";
  }
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "completion code 0x%02x", unsigned{completionCode});
  return outcome == Outcome::Done ? "unusable response" : text.data();
}

FailureCause CommandReply::Cause() const noexcept {
  switch (outcome) {
    case Outcome::Silent:
    case Outcome::Stopped:
      return FailureCause::Unreachable;
    case Outcome::NotOffered:
    case Outcome::NotPresent:
    case Outcome::Denied:
      return FailureCause::NotOffered;
    case Outcome::Late:
      return FailureCause::Deadline;
    default:
      return FailureCause::BadData;
  }
}

CommandReply CommandRunner::Run(u8 netFn, u8 command, std::vector<u8> data) {
  const IPMICOMMAND request{command, std::move(data), netFn};
  if (const auto refusal = refused_.find(KeyOf(request)); refusal != refused_.end()) {
    return {OutcomeOf(refusal->second), refusal->second, {}};
  }
  CommandReply reply = Once(request);
  for (unsigned attempt = 0; MayRetry(reply, netFn, attempt) && !IsOver(); ++attempt) {
    reply = Once(request);
  }
  constexpr u8 kTransport = 0x0C;  // whose parameters ask for different privileges
  const u8 code = reply.completionCode;
  if (code == kInvalidCommand || code == kFirmwareFirewall || (code == kDenied && netFn != kTransport)) {
    refused_[KeyOf(request)] = code;
  }
  return reply;
}

CommandReply CommandRunner::Once(const IPMICOMMAND& command) {
  CommandReply reply;
  if (IsOver()) {
    reply.outcome = IsLate() ? Outcome::Late : Outcome::Stopped;
    return reply;
  }
  try {
    if (client_.send(command, reply.data, reply.completionCode) == 0) {
      silences_ = 0;
      reply.outcome = OutcomeOf(reply.completionCode);
      return reply;
    }
  } catch (const IpmiException& exception) {
    KELVAR_LOG(1) << "IPMI reading: the transport failed: " << exception.getErrorMsg();
  }
  ++silences_;
  reply.data.clear();
  reply.outcome = Outcome::Silent;
  return reply;
}

bool CommandRunner::MayRetry(const CommandReply& reply, u8 netFn, unsigned attempt) {
  static constexpr std::array<std::chrono::milliseconds, 4> kPauses = {
      std::chrono::milliseconds(50), std::chrono::milliseconds(100), std::chrono::milliseconds(200),
      std::chrono::milliseconds(500)};
  if (reply.outcome != Outcome::Failed || IsBusyStorage(reply.completionCode, netFn)) {
    return false;
  }
  const std::size_t tries = IsBusy(reply.completionCode) ? kPauses.size() : 1;
  if (attempt >= tries) {
    return false;
  }
  clock_.Sleep(kPauses[attempt]);
  return true;
}

}  // namespace Kelvar::Reader::Ipmi
