#include "tools/kelvar/fleet/LogFollow.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include <unistd.h>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/Demo.h"
#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/fleet/Interruption.h"
#include "tools/kelvar/fleet/TimedReading.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"
#include "tools/kelvar/inventory/LogSelection.h"
#include "tools/kelvar/inventory/NewEntries.h"

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

void Check(const Options& options) {
  const auto isLogs = [](const std::string& word) { return word == "logs"; };
  if (!std::all_of(options.what.begin(), options.what.end(), isLogs)) {
    throw ToolError(ExitCode::Usage, "--follow shows logs only");
  }
  if (options.format != "table" && options.format != "jsonl") {
    throw ToolError(ExitCode::Usage, "--follow prints table or jsonl");
  }
  if (!options.columns.empty()) {
    throw ToolError(ExitCode::Usage, "--follow prints whole entries; it takes no --columns");
  }
}

class Follower {
 public:
  Follower(const Options& options, const Target& target, Output& output)
      : options_(options), target_(target), output_(output) {}

  ExitCode Run() {
    const Report first = Read(OptionsFor(0));
    Mention(first);
    if (hangs_ || !first.inventory || !first.inventory->Delivered()) {
      return first.code;
    }
    Show(first, options_.reader.log_limit);
    while (Wait()) {
      const Report report = ReadNew();
      Mention(report);
      if (hangs_ || report.loginRefused) {
        return report.code;
      }
      Show(report, 0);
    }
    return ExitCode::Complete;
  }

  /// Closes the session that is kept.
  void Close() {
    if (!hangs_) {
      polls_.reset();
    }
  }

  /// Whether a thread is left that does not come back.
  bool Hangs() const { return hangs_; }

  void EndIfInterrupted() const {
    if (interruption_.Pending()) {
      interruption_.EndBySignal();
    }
  }

 private:
  Report ReadNew() {
    constexpr u32 kEnough = 200;  // of each log: new entries are few
    ReadOptions read = OptionsFor(kEnough);
    read.reader.keep_session = true;
    if (!polls_) {
      polls_.emplace(target_.info, ReaderOptionsFor(target_, read));
    }
    read.kept = &*polls_;
    Report report = Read(read);
    const bool missing = report.inventory && news_.MayMissSome(report.inventory->inventory.log_entries, kEnough);
    return missing ? Read(OptionsFor(0)) : report;
  }

  ReadOptions OptionsFor(u32 limit) const {
    ReadOptions read = ReadOptionsOf(options_, {"logs"});
    read.severity.clear();
    read.reader.log_limit = limit;
    read.reader.newest_first = true;
    return read;
  }

  Report Read(const ReadOptions& read) {
    const auto reading = std::make_shared<KeptReading>(target_, std::nullopt, read, options_.deadlineSeconds);
    WorkerPool pool({1, TimeLimitOf(options_), 1});
    pool.Submit(reading);
    hangs_ = !pool.Finish([&] {
      if (!interruption_.Pending()) {
        return;
      }
      reading->Stop();
      if (polls_) {
        polls_->Cancel();
      }
      if (interruption_.Overdue()) {
        interruption_.EndBySignal();
      }
    });
    return reading->Result();
  }

  /// The reason for an incomplete reading, once until it changes.
  void Mention(const Report& report) {
    const std::string reason = report.code == ExitCode::Complete ? "" : ReasonOf(report);
    if (reason != mentioned_ && !reason.empty() && !options_.quiet) {
      PrintError(reason);
    }
    mentioned_ = reason;
  }

  void Show(const Report& report, u32 limit) {
    if (!report.inventory) {
      return;
    }
    std::vector<Model::LogEntry> entries = news_.Take(report.inventory->inventory.log_entries);
    KeepSevere(entries, options_.severity, limit);
    const bool json = options_.format == "jsonl";
    for (const Model::LogEntry& entry : InOrderOfTime(std::move(entries))) {
      output_.Write(json ? JsonText(entry) : LogLine(entry, colour_));
    }
    try {
      output_.Finish();
    } catch (const ToolError&) {
      if (!output_.LostReader(std::chrono::milliseconds(0))) {
        throw;
      }
    }
  }

  /// For the time between two readings. False when the program should end.
  bool Wait() const {
    constexpr std::chrono::milliseconds kSlice{200};
    const auto until = Clock::now() + std::chrono::seconds(options_.intervalSeconds);
    while (!interruption_.Pending() && !output_.LostReader(kSlice)) {
      if (Clock::now() >= until) {
        return true;
      }
    }
    return false;
  }

  const Options& options_;
  const Target& target_;
  Output& output_;
  const Colour colour_ = ColourOf(options_);
  Interruption interruption_;
  NewEntries news_;
  std::optional<InventoryReader> polls_;  ///< one session for all readings after the first
  std::string mentioned_;
  bool hangs_ = false;
};

}  // namespace

int FollowLogs(const Options& options) {
  Check(options);
  std::optional<DemoMachine> demo;
  if (DemoMachine::Names(options.target)) {
    demo.emplace(options.target);
  }
  Target target = demo ? demo->Address() : ParseTarget(options.target);
  if (!demo) {
    Credentials(options.password, ConfigNamed(options.config)).Fill(target);
  }
  (void)std::signal(SIGPIPE, SIG_IGN);  // it would end a reading with its session open
  Options shown = options;
  shown.colour = ColourOf(options) == Colour::Always ? "always" : "never";  // before the output is taken
  Output output;
  const LogView log(ShownLogLevel(options));
  Follower follower(shown, target, output);
  const ExitCode code = follower.Run();
  follower.Close();
  demo.reset();
  follower.EndIfInterrupted();
  if (follower.Hangs()) {
    _exit(static_cast<int>(code));
  }
  return static_cast<int>(code);
}

}  // namespace Kelvar::Tool
