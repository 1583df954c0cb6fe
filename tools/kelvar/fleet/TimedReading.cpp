#include "tools/kelvar/fleet/TimedReading.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

namespace Kelvar::Tool {

TimedReading::TimedReading(Target target, std::optional<Target> partner, ReadOptions options, double deadlineSeconds)
    : target_(std::move(target)),
      partner_(std::move(partner)),
      options_(std::move(options)),
      deadlineSeconds_(deadlineSeconds) {
  soFar_.target = target_.address;
  soFar_.protocol = target_.protocol;
  soFar_.operations = options_.operations;
  soFar_.start = std::chrono::system_clock::now();
  current_ = options_.operations ? "the connection" : "the inventory";
  options_.begin = [this](const Operation& operation, std::size_t position, std::size_t count) {
    NoteBegin(operation, position, count);
  };
  options_.waiting = [this](const char* reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    pause_ = reason;
  };
}

void TimedReading::Run() {
  try {
    Begin();
    report_ = ReadTarget(target_, partner_, options_, [this](const OperationResult& result) { return Take(result); });
  } catch (const std::exception& error) {
    report_ = soFar_;
    report_.code = ExitCode::Internal;
    report_.error = error.what();
  }
}

void TimedReading::Begin() {
  const std::lock_guard<std::mutex> lock(mutex_);
  soFar_.start = std::chrono::system_clock::now();
  start_ = Clock::now();
  if (!options_.operations && options_.kept == nullptr) {
    options_.kept = &reader_.emplace(target_.info, ReaderOptionsFor(target_, options_));
    if (late_) {
      reader_->Cancel();
    }
  }
}

bool TimedReading::Take(const OperationResult& result) {
  const std::lock_guard<std::mutex> lock(mutex_);
  soFar_.results.push_back(result);
  return !late_;
}

void TimedReading::Stop() {
  const std::lock_guard<std::mutex> lock(mutex_);
  late_ = true;
  if (reader_) {
    reader_->Cancel();
  }
}

void TimedReading::NoteBegin(const Operation& operation, std::size_t position, std::size_t count) {
  const std::lock_guard<std::mutex> lock(mutex_);
  current_ = fmt::format("{} ({} of {})", operation.name, position, count);
}

void TimedReading::Done() {
  End(report_);
}

void TimedReading::OnDeadline() {
  Report report;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    late_ = true;
    report = std::move(soFar_);
    soFar_ = {};
    const bool tried = start_ != Clock::time_point{};
    report.seconds = tried ? std::chrono::duration<double>(Clock::now() - start_).count() : 0;
    report.error = tried ? fmt::format("the deadline of {:g} s passed while reading {}", deadlineSeconds_, current_)
                         : "not tried: too many readings hang";
  }
  report.code = report.Delivered() ? ExitCode::Partial : ExitCode::Unreachable;
  report.connection = report.Delivered() ? ExitCode::Complete : report.code;
  End(report);
}

std::string TimedReading::WaitingFor() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::string what = pause_.empty() ? current_ : current_ + ": " + pause_;
  if (deadlineSeconds_ <= 0 || start_ == Clock::time_point{}) {
    return what;
  }
  const double left = deadlineSeconds_ - std::chrono::duration<double>(Clock::now() - start_).count();
  return fmt::format("{}, {:.0f} s left", what, std::max(left, 0.0));
}

}  // namespace Kelvar::Tool
