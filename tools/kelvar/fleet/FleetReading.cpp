#include "tools/kelvar/fleet/FleetReading.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

bool Delivered(const Report& report) {
  return std::any_of(report.entries.begin(), report.entries.end(), [](const Report::Entry& entry) {
    return entry.code == ExitCode::Complete || entry.code == ExitCode::Partial;
  });
}

}  // namespace

FleetReading::FleetReading(FleetParts& parts, std::size_t position, ListedTarget target)
    : parts_(parts), position_(position), target_(std::move(target)), account_(Accounts::KeyOf(*target_.target)) {
  soFar_.target = target_.name;
  soFar_.protocol = target_.target->protocol;
  soFar_.start = std::chrono::system_clock::now();
}

void FleetReading::Run() {
  if (parts_.writer.Failed()) {
    report_ = NotTried(target_, ExitCode::Internal, "not tried, for the reports cannot be written");
    return;
  }
  if (parts_.accounts.IsRefused(account_)) {
    report_ = NotTried(target_, ExitCode::LoginRefused, "not tried, for this account was refused before");
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    soFar_.start = std::chrono::system_clock::now();
    start_ = Clock::now();
  }
  try {
    parts_.log.NameThread(target_.name);
    report_ = ReadTarget(*target_.target, std::nullopt, {target_.what, parts_.commonEventId}, parts_.log,
                         [this](const Report::Entry& entry) { return Take(entry); });
  } catch (const std::exception& error) {
    report_ = NotTried(target_, ExitCode::Internal, error.what());
  }
  if (report_.code == ExitCode::LoginRefused) {
    parts_.accounts.Refuse(account_);
  }
}

/// A login refused at the first part is not tried with the next.
bool FleetReading::Take(const Report::Entry& entry) {
  const std::lock_guard<std::mutex> lock(mutex_);
  soFar_.entries.push_back(entry);
  return !late_ && (entry.code != ExitCode::LoginRefused || Delivered(soFar_));
}

void FleetReading::Done() {
  End(report_);
}

void FleetReading::OnDeadline() {
  Report report;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    late_ = true;
    report = std::move(soFar_);
    soFar_ = {};
    const bool tried = start_ != Clock::time_point{};
    report.seconds = tried ? std::chrono::duration<double>(Clock::now() - start_).count() : 0;
    report.error = tried ? fmt::format("deadline of {:g} s exceeded", parts_.deadlineSeconds)
                         : "not tried, for too many readings hang";
  }
  report.code = Delivered(report) ? ExitCode::Partial : ExitCode::Unreachable;
  End(report);
}

void FleetReading::End(const Report& report) {
  parts_.writer.Write(position_, report);
  parts_.accounts.Leave(account_);
}

Report NotTried(const ListedTarget& target, ExitCode code, const std::string& why) {
  Report report;
  report.target = target.name;
  report.protocol = target.target ? target.target->protocol : report.protocol;
  report.start = std::chrono::system_clock::now();
  report.code = code;
  report.error = why;
  return report;
}

}  // namespace Kelvar::Tool
