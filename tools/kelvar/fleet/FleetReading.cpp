#include "tools/kelvar/fleet/FleetReading.h"

#include <memory>
#include <string>
#include <utility>

#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"

namespace Kelvar::Tool {

bool RunningReadings::Add(TimedReading& reading) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!ending_) {
    readings_.insert(&reading);
  }
  return !ending_;
}

void RunningReadings::Remove(TimedReading& reading) {
  const std::lock_guard<std::mutex> lock(mutex_);
  readings_.erase(&reading);
}

void RunningReadings::EndAll() {
  const std::lock_guard<std::mutex> lock(mutex_);
  ending_ = true;
  for (TimedReading* const reading : readings_) {
    reading->Stop();
  }
}

bool RunningReadings::Ending() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return ending_;
}

bool RunningReadings::None() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return readings_.empty();
}

FleetReading::FleetReading(FleetParts& parts, std::size_t position, ListedTarget target, Accounts::Places places)
    : TimedReading(*target.target, std::nullopt, ReadOptionsOf(parts.options, target.what),
                   parts.options.deadlineSeconds),
      parts_(parts),
      position_(position),
      target_(std::move(target)),
      places_(std::move(places)) {}

void FleetReading::Run() {
  if (parts_.writer.Failed()) {
    Decline(NotTried(target_, ExitCode::Internal, "not tried: the reports cannot be written"));
    return;
  }
  if (parts_.accounts.IsRefused(places_)) {
    Decline(NotTried(target_, ExitCode::LoginRefused, "not tried: this account was refused before"));
    return;
  }
  const bool session = HasSession(target_.operations, target_.target->protocol);
  if (session ? !parts_.running.Add(*this) : parts_.running.Ending()) {
    return;
  }
  LogView::NameThread(target_.name);
  TimedReading::Run();
  if (Whole().loginRefused) {
    parts_.accounts.Refuse(places_);
  }
}

void FleetReading::End(const Report& report) {
  if (const std::string tls = TextOf(report.tls); !tls.empty() && ShownLogLevel(parts_.options) > 0) {
    PrintError(target_.name + ": " + tls);
  }
  // What is not complete because of a signal is left to a run that resumes this one.
  if (report.code == ExitCode::Complete || !parts_.running.Ending()) {
    parts_.writer.Write(position_, report);
  }
  parts_.accounts.Leave(places_);
  parts_.running.Remove(*this);
}

void FleetEntry::Run() {
  if (!parts_.running.Ending()) {
    places_ = Accounts::PlacesOf(*target_.target);
  }
}

void FleetEntry::Done() {
  auto reading = std::make_shared<FleetReading>(parts_, position_, target_, places_);
  parts_.accounts.Enter(places_, [&pool = pool_, reading] { pool.Submit(reading); });
}

void FleetEntry::OnDeadline() {
  parts_.writer.Write(position_,
                      NotTried(target_, ExitCode::Unreachable, "not tried: its name is not resolved in time"));
}

Report NotTried(const ListedTarget& target, ExitCode code, const std::string& why) {
  Report report;
  report.target = target.name;
  report.operations = target.operations;
  report.protocol = target.target ? target.target->protocol : report.protocol;
  report.start = std::chrono::system_clock::now();
  report.code = code;
  report.connection = code;
  report.error = why;
  return report;
}

}  // namespace Kelvar::Tool
