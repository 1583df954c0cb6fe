#include "tools/kelvar/fleet/Fleet.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <sys/resource.h>
#include <unistd.h>

#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/fleet/FleetReading.h"
#include "tools/kelvar/fleet/ProgressLine.h"
#include "tools/kelvar/fleet/Shard.h"

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

void CheckOptions(const Options& options) {
  if (options.explain || !options.withCim.empty()) {
    throw ToolError(ExitCode::Usage, "--explain and --with-cim are for one target, not for --targets");
  }
  for (const std::string& word : options.what) {
    const auto all = Commands();
    if (std::none_of(all.begin(), all.end(), [&](const Command& command) { return word == command.name; })) {
      CommandNamed(word, Protocol::Redfish);  // which refuses it
    }
  }
}

std::vector<ListedTarget> ChosenTargets(const Options& options, const FleetOptions& fleetOptions) {
  const Shard shard = fleetOptions.shard.empty() ? Shard() : ParseShard(fleetOptions.shard);
  std::vector<ListedTarget> list = ReadTargetList(fleetOptions.targets, options.what);
  list.erase(std::remove_if(list.begin(), list.end(),
                            [&](const ListedTarget& listed) {
                              return !shard.Holds(listed.target ? listed.target->info.Host : listed.name);
                            }),
             list.end());
  return list;
}

std::string FormatOf(const Options& options, const FleetOptions& fleetOptions) {
  const bool table = isatty(STDOUT_FILENO) == 1;
  return fleetOptions.formatGiven || table ? options.format : "jsonl";
}

unsigned MostStuck(unsigned jobs) {
  constexpr unsigned least = 256;
  constexpr unsigned perJob = 4;
  return std::max(least, perJob * jobs);
}

/// A target takes a few descriptors, and so does one that hangs.
void RaiseDescriptorLimit(unsigned jobs) {
  constexpr rlim_t perTarget = 3;
  constexpr rlim_t own = 64;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    const rlim_t wanted = own + perTarget * (jobs + MostStuck(jobs));
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(wanted, limit.rlim_max));
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

class FleetRun {
 public:
  FleetRun(const Options& options, const FleetOptions& fleetOptions, Delivery& delivery, std::size_t total)
      : options_(options),
        fleetOptions_(fleetOptions),
        delivery_(delivery),
        log_(options.verbose > 0 && !options.quiet ? ShownLogLevel(options) : 0),
        parts_{log_, delivery, accounts_, options.commonEventId, fleetOptions.deadlineSeconds},
        progress_(total, !options.quiet),
        pool_({fleetOptions.jobs, std::chrono::milliseconds(static_cast<long>(fleetOptions.deadlineSeconds * 1000)),
               MostStuck(fleetOptions.jobs)}) {}

  /// False when threads are left that hang.
  bool Read(std::vector<ListedTarget> list) {
    Credentials credentials(options_.password, ConfigOf(options_));
    for (std::size_t position = 0; position < list.size(); ++position) {
      Begin(position, std::move(list[position]), credentials);
      progress_.Show(delivery_.Counts());
    }
    const bool all = pool_.Finish([this] { progress_.Show(delivery_.Counts()); });
    progress_.Clear();
    return all;
  }

 private:
  void Begin(std::size_t position, ListedTarget listed, Credentials& credentials) {
    try {
      if (!listed.error.empty()) {
        throw ToolError(listed.code, listed.error);
      }
      credentials.Fill(*listed.target, listed.password);
    } catch (const ToolError& error) {
      delivery_.Deliver(position, NotTried(listed, error.Code(), error.what()));
      return;
    }
    const std::string account = Accounts::KeyOf(*listed.target);
    auto reading = std::make_shared<FleetReading>(parts_, position, std::move(listed));
    accounts_.Enter(account, [this, reading] { pool_.Submit(reading); });
  }

  const Options& options_;
  const FleetOptions& fleetOptions_;
  Delivery& delivery_;
  LogWatch log_;
  Accounts accounts_;
  FleetParts parts_;
  ProgressLine progress_;
  WorkerPool pool_;
};

int ExitCodeOf(const Tally& tally) {
  return static_cast<int>(tally.Failed() == 0 ? ExitCode::Complete : ExitCode::SomeFailed);
}

int End(const Options& options, Delivery& delivery, Clock::time_point start) {
  const Tally tally = delivery.Counts();
  try {
    delivery.Finish("");
  } catch (const ToolError& error) {
    std::fprintf(stderr, "kelvar: %s\n", error.what());
    return static_cast<int>(error.Code());
  }
  if (!options.quiet) {
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::fprintf(stderr, "kelvar: %s\n", SummaryOf(tally, seconds).c_str());
  }
  return ExitCodeOf(tally);
}

}  // namespace

int ReadFleet(const Options& options, const FleetOptions& fleetOptions) {
  CheckOptions(options);
  const Clock::time_point start = Clock::now();
  std::vector<ListedTarget> list = ChosenTargets(options, fleetOptions);
  const Colour colour = ColourOf(options);
  const std::string format = FormatOf(options, fleetOptions);
  Output output;
  RaiseDescriptorLimit(fleetOptions.jobs);
  Delivery delivery(output, RenderingOf(format, colour), fleetOptions.ordered, fleetOptions.save);
  FleetRun run(options, fleetOptions, delivery, list.size());
  const bool all = run.Read(std::move(list));
  const int code = End(options, delivery, start);
  if (!all) {
    _exit(code);
  }
  return code;
}

}  // namespace Kelvar::Tool
