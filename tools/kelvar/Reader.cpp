#include "tools/kelvar/Reader.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

namespace Kelvar::Tool {

namespace {

std::unique_ptr<NodeFirmwareInventory> Connect(const Target& target, const std::optional<Target>& partner) {
  if (partner) {
    return std::make_unique<NodeFirmwareInventory>(partner->info, target.info);
  }
  return std::make_unique<NodeFirmwareInventory>(target.info);
}

ExitCode Judge(const Outcome& outcome, const Findings& found) {
  const ExitCode byResult = ExitCodeOf(outcome.result);
  if (byResult == ExitCode::Complete && (outcome.wholeOrNothing || found.gaps == 0)) {
    return ExitCode::Complete;
  }
  if (outcome.Delivered()) {
    return ExitCode::Partial;
  }
  return found.cause.value_or(byResult == ExitCode::Complete ? ExitCode::BadData : byResult);
}

class Reading {
 public:
  Reading(const Target& target, const ReadOptions& options, LogWatch& log)
      : target_(target), options_(options), log_(log), start_(std::chrono::steady_clock::now()) {
    report_.target = target.address;
    report_.protocol = target.protocol;
    report_.start = std::chrono::system_clock::now();
    log_.Take();
  }

  Report Run(const std::vector<const Command*>& commands, const std::optional<Target>& partner,
             const Progress& progress) {
    std::optional<TraceWatch> trace;
    if (partner || target_.protocol == Protocol::Cim) {
      trace.emplace();
    }
    try {
      const auto inventory = Connect(target_, partner);
      if (Connected(*inventory)) {
        ReadAll(*inventory, commands, progress);
      }
    } catch (const std::exception& error) {
      report_.error = error.what();
      report_.code = report_.entries.empty() ? ExitCode::Internal : ExitCode::Partial;
    }
    report_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    return std::move(report_);
  }

 private:
  bool Connected(NodeFirmwareInventory& inventory) {
    Findings found = log_.Take();
    report_.connecting = std::move(found.exchanges);
    connectCause_ = found.cause;
    connectWhy_ = found.why;
    // Each operation over CIM would try again, for half a minute.
    unreachable_ = target_.protocol == Protocol::Cim && found.gaps != 0;
    if (inventory.GetConnectStatus() == 0) {
      return true;
    }
    report_.code = found.cause.value_or(ExitCode::Internal);
    report_.error = "no connection to " + target_.address + (found.why.empty() ? "" : ": " + found.why);
    return false;
  }

  void ReadAll(NodeFirmwareInventory& inventory, const std::vector<const Command*>& commands,
               const Progress& progress) {
    const Session session{inventory, target_.info, options_.commonEventId};
    for (const Command* command : commands) {
      Report::Entry entry = Read(*command, session);
      const bool offered = !options_.what.empty() || !LeftOut(entry);
      if (offered) {
        report_.code = report_.entries.empty() ? entry.code : Combine(report_.code, entry.code);
        report_.entries.push_back(std::move(entry));
        if (progress && !progress(report_.entries.back())) {
          return;
        }
      }
    }
  }

  Report::Entry Read(const Command& command, const Session& session) {
    const bool maybeNone = command.someMachinesOnly && options_.what.empty();
    log_.Hush(maybeNone);
    Outcome outcome = unreachable_ ? Outcome{NodeFirmwareInventory::INVENTORY_CONNECT_FAILED, {}}
                                   : command.For(target_.protocol)(session);
    log_.Hush(false);
    Findings found = log_.Take();
    found.cause = found.cause ? found.cause : connectCause_;
    const ExitCode code = Judge(outcome, found);
    std::string why = found.why.empty() ? connectWhy_ : std::move(found.why);
    return {&command, std::move(outcome), code, code == ExitCode::Complete ? std::string() : std::move(why),
            std::move(found.exchanges)};
  }

  /// When everything is asked for, what the target does not offer is not missing.
  static bool LeftOut(const Report::Entry& entry) {
    return entry.code == ExitCode::Unsupported || (entry.command->someMachinesOnly && entry.code == ExitCode::BadData);
  }

  const Target& target_;
  const ReadOptions& options_;
  LogWatch& log_;
  std::chrono::steady_clock::time_point start_;
  bool unreachable_ = false;
  std::optional<ExitCode> connectCause_;
  std::string connectWhy_;
  Report report_;
};

}  // namespace

std::vector<const Command*> CommandsFor(const std::vector<std::string>& what, Protocol protocol) {
  std::vector<const Command*> commands;
  if (what.empty()) {
    for (const Command& command : Commands()) {
      if (command.For(protocol) != nullptr) {
        commands.push_back(&command);
      }
    }
  }
  for (const std::string& word : what) {
    commands.push_back(&CommandNamed(word, protocol));
  }
  return commands;
}

Report ReadTarget(const Target& target, const std::optional<Target>& partner, const ReadOptions& options, LogWatch& log,
                  const Progress& progress) {
  const std::vector<const Command*> commands = CommandsFor(options.what, target.protocol);
  return Reading(target, options, log).Run(commands, partner, progress);
}

}  // namespace Kelvar::Tool
