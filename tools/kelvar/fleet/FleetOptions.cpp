#include "tools/kelvar/fleet/FleetOptions.h"

#include <CLI/CLI.hpp>

namespace Kelvar::Tool {

namespace {

constexpr const char* group = "Many targets";
constexpr unsigned mostJobs = 4096;
constexpr double longestDeadline = 86400;

}  // namespace

void DeclareFleet(CLI::App& app, FleetOptions& options) {
  auto* const targets = app.add_option("--targets", options.targets,
                                       "File with a target or a JSON object a line, - for standard input; every word "
                                       "of the command line is a WHAT then")
                            ->type_name("FILE")
                            ->group(group);
  const auto add = [&](auto* option) { option->needs(targets)->group(group); };
  add(app.add_option("--jobs", options.jobs, "Targets read at one time")
          ->check(CLI::Range(1U, mostJobs))
          ->type_name("N")
          ->capture_default_str());
  add(app.add_option("--deadline", options.deadlineSeconds, "Seconds for one target, 0 for no deadline")
          ->check(CLI::Range(0.0, longestDeadline))
          ->type_name("SECONDS")
          ->capture_default_str());
  add(app.add_flag("--ordered", options.ordered, "Print in the order of the list, not of completion"));
  add(app.add_option("--shard", options.shard, "Read the K-th of N parts of the list; auto: Slurm, Kubernetes")
          ->type_name("K/N|auto"));
  add(app.add_option("--save", options.save, "Also write the reports to a file, as jsonl")->type_name("FILE"));
  add(app.add_option("--resume", options.resume,
                     "Leave out what is complete in the jsonl of a former run; --save appends")
          ->type_name("FILE"));
  add(app.add_option("--diff", options.diff, "Print what changed since the jsonl of a former run")->type_name("FILE"));
  add(app.add_option("--baseline", options.baseline, "Print firmware that is not as the rules of a TOML or JSON file")
          ->type_name("FILE"));
}

}  // namespace Kelvar::Tool
