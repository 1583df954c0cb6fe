#include "tools/kelvar/fleet/Fleet.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <functional>
#include <utility>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/LogView.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/fleet/Checks.h"
#include "tools/kelvar/fleet/FleetReading.h"
#include "tools/kelvar/fleet/Interruption.h"
#include "tools/kelvar/fleet/ProgressLine.h"
#include "tools/kelvar/fleet/Shard.h"
#include "tools/kelvar/fleet/StoredReport.h"
#include "tools/kelvar/inventory/InventoryReading.h"
#include "tools/kelvar/pool/DescriptorLimit.h"

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

void CheckOptions(const Options& options) {
  if (options.follow) {
    throw ToolError(ExitCode::Usage, "--follow is for one target, not for --targets");
  }
  if (options.explain || !options.withCim.empty()) {
    throw ToolError(ExitCode::Usage, "--explain and --with-cim are for one target, not for --targets");
  }
  if (!options.operations) {
    FamiliesOf(options.what);
  }
  for (const std::string& word : options.operations ? options.what : std::vector<std::string>()) {
    OperationNamed(word);
  }
}

/// An earlier run is not lost by a mistake.
void CheckSave(const FleetOptions& options) {
  struct stat saved {};
  const bool held = !options.save.empty() && options.resume.empty() && !options.force &&
                    stat(options.save.c_str(), &saved) == 0 && S_ISREG(saved.st_mode) && saved.st_size > 0;
  if (held) {
    throw ToolError(ExitCode::Usage, options.save + " exists: use --resume " + options.save +
                                         " to continue it, or --force to overwrite it");
  }
}

/// Leaves the targets of the shard that no earlier run, which need not exist yet, has read.
void Choose(std::vector<ListedTarget>& list, const Shard& shard, const std::string& resume) {
  const bool begun = !resume.empty() && (access(resume.c_str(), F_OK) == 0 || errno != ENOENT);
  const std::map<std::string, StoredReport> stored =
      begun ? ReadStoredReports(resume) : std::map<std::string, StoredReport>();
  list.erase(std::remove_if(list.begin(), list.end(),
                            [&](const ListedTarget& listed) {
                              const std::string& host = listed.target ? listed.target->info.Host : listed.name;
                              return !shard.Holds(host) || IsComplete(stored, listed);
                            }),
             list.end());
}

/// Whether standard output appends to a file whose last line is cut.
bool AppendsToCutLine(const std::string& file) {
  struct stat named {};
  struct stat output {};
  return !file.empty() && stat(file.c_str(), &named) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
         named.st_dev == output.st_dev && named.st_ino == output.st_ino && LacksLineEnd(file);
}

std::string FormatOf(const Options& options, const FleetOptions& fleetOptions) {
  const bool table = isatty(STDOUT_FILENO) == 1;
  return fleetOptions.formatGiven || table ? options.format : "jsonl";
}

unsigned MostStuck(unsigned jobs) {
  constexpr unsigned kLeast = 256;
  constexpr unsigned kPerJob = 4;
  return std::max(kLeast, kPerJob * jobs);
}

/// A target takes a few descriptors, and so does one that hangs.
std::uint64_t DescriptorsFor(unsigned jobs) {
  constexpr std::uint64_t kPerTarget = 3;
  constexpr std::uint64_t kOfProcess = 64;
  return kOfProcess + kPerTarget * (jobs + MostStuck(jobs));
}

class FleetRun {
 public:
  /// `end`: called before a signal ends the program.
  FleetRun(const Options& options, const FleetOptions& fleetOptions, ReportWriter& writer, std::size_t total,
           std::function<void()> end)
      : options_(options),
        writer_(writer),
        log_(ShownLogLevel(options)),
        parts_{writer, accounts_, options},
        progress_(total, !options.quiet),
        end_(std::move(end)),
        pool_({fleetOptions.jobs, TimeLimitOf(options), MostStuck(fleetOptions.jobs)}) {}

  /// False when threads are left that hang.
  bool Read(std::vector<ListedTarget> list) {
    Credentials credentials(options_.password, ConfigNamed(options_.config));
    for (std::size_t position = 0; position < list.size(); ++position) {
      Begin(position, std::move(list[position]), credentials);
      Look();
      if (interruption_.Pending()) {
        break;
      }
    }
    const bool all = pool_.Finish([this] { Look(); });
    if (interruption_.Pending()) {
      EndInterrupted();
    }
    progress_.Clear();
    return all;
  }

 private:
  void Look() {
    progress_.Show(writer_.Counted());
    if (interruption_.Pending()) {
      parts_.running.EndAll();
      if (parts_.running.None() || interruption_.Overdue()) {
        EndInterrupted();
      }
    }
  }

  [[noreturn]] void EndInterrupted() {
    progress_.Clear();
    end_();
    interruption_.EndBySignal();
  }

  void Begin(std::size_t position, ListedTarget listed, Credentials& credentials) {
    try {
      if (!listed.error.empty()) {
        throw ToolError(listed.code, listed.error);
      }
      if (!listed.hasAccount) {
        credentials.Fill(*listed.target, listed.password);
      }
    } catch (const ToolError& error) {
      writer_.Write(position, NotTried(listed, error.Code(), error.what()));
      return;
    }
    pool_.Submit(std::make_shared<FleetEntry>(parts_, pool_, position, std::move(listed)));
  }

  const Options& options_;
  ReportWriter& writer_;
  LogView log_;
  Accounts accounts_;
  FleetParts parts_;
  ProgressLine progress_;
  Interruption interruption_;
  const std::function<void()> end_;
  WorkerPool pool_;
};

ExitCode CodeOf(const Counts& counts, const Checks& checks) {
  if (counts.Failed() > 0) {
    return ExitCode::SomeFailed;
  }
  return checks.Differences() > 0 ? ExitCode::Different : ExitCode::Complete;
}

void ShowSummary(const Counts& counts, const Checks& checks, std::size_t skipped, double seconds) {
  std::string text = SummaryOf(counts, seconds);
  text += skipped > 0 ? fmt::format("; {} complete before", skipped) : "";
  text += checks.Wanted() ? fmt::format("; differences: {}", checks.Differences()) : "";
  PrintError(text);
}

Formatter FormatterFor(const Options& options, const FleetOptions& fleetOptions, Checks& checks) {
  const std::string format = FormatOf(options, fleetOptions);
  const DocumentStyle style = StyleOf(options);
  Formatter formatter = checks.Wanted() ? checks.FormatterOf(format, style) : FormatNamed(format).many(style);
  formatter.head.insert(0, AppendsToCutLine(fleetOptions.resume) ? "\n" : "");
  formatter.eraser =
      isatty(STDOUT_FILENO) == 1 && isatty(STDERR_FILENO) == 1 && !options.quiet ? ProgressLine::kEraser : "";
  return formatter;
}

/// What the run came to, or that its reports could not be written.
ExitCode Finish(ReportWriter& writer, const Checks& checks, const std::string& last) {
  const ExitCode code = CodeOf(writer.Counted(), checks);
  try {
    writer.Finish(last);
  } catch (const ToolError& error) {
    PrintError(error.what());
    return error.Code();
  }
  return code;
}

void TellHowToGoOn(const FleetOptions& options) {
  if (options.save.empty()) {
    PrintError("interrupted; with --save FILE a run can be continued by --resume FILE");
  } else {
    PrintError("interrupted; to resume: " + CommandToGoOn(options.words, options.save));
  }
}

}  // namespace

bool ReadTargets(const Options& options, const FleetOptions& fleetOptions, ReportWriter& writer,
                 std::vector<ListedTarget> list, std::function<void()> end) {
  RaiseDescriptorLimit(DescriptorsFor(fleetOptions.jobs));
  const std::size_t total = list.size();
  return FleetRun(options, fleetOptions, writer, total, std::move(end)).Read(std::move(list));
}

int ReadFleet(const Options& options, const FleetOptions& fleetOptions) {
  CheckOptions(options);
  CheckSave(fleetOptions);
  const Clock::time_point start = Clock::now();
  const Shard shard = fleetOptions.shard.empty() ? Shard() : ParseShard(fleetOptions.shard);
  Checks checks(fleetOptions);
  std::vector<ListedTarget> list = ReadTargetList(fleetOptions.targets, options.what, options.operations);
  if (list.empty()) {
    throw ToolError(ExitCode::Usage, "the list of targets " + fleetOptions.targets + " is empty");
  }
  Formatter formatter = FormatterFor(options, fleetOptions, checks);
  const std::string removed = checks.TextOfRemoved(list, shard);
  const std::size_t listed = list.size();
  for (ListedTarget& target : list) {
    checks.AddWords(target.what);
  }
  Choose(list, shard, fleetOptions.resume);
  Output output;
  ReportWriter writer(output, std::move(formatter), fleetOptions);
  const std::size_t skipped = fleetOptions.shard.empty() ? listed - list.size() : 0;
  const auto finish = [&](const std::string& last) {
    const ExitCode code = Finish(writer, checks, last);
    if (!options.quiet) {
      const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
      ShowSummary(writer.Counted(), checks, skipped, seconds);
    }
    return code;
  };
  const bool all = ReadTargets(options, fleetOptions, writer, std::move(list), [&] {
    finish("");
    TellHowToGoOn(fleetOptions);
  });
  const ExitCode code = finish(removed);
  if (!all) {
    _exit(static_cast<int>(code));
  }
  return static_cast<int>(code);
}

}  // namespace Kelvar::Tool
