#include "tools/kelvar/fleet/FleetOptions.h"

#include <CLI/CLI.hpp>

namespace Kelvar::Tool {

namespace {

constexpr unsigned kMostJobs = 4096;

}  // namespace

void DeclareFleet(CLI::App& app, FleetOptions& options) {
  auto* const targets =
      app.add_option(
             "--targets", options.targets,
             "File with a target or JSON object on each line, - for standard input; all words then say what to read")
          ->type_name("FILE");
  const auto add = [&](auto* option) { option->needs(targets); };
  add(app.add_option("--jobs", options.jobs, "Targets read at the same time")
          ->check(CLI::Range(1U, kMostJobs))
          ->type_name("N")
          ->capture_default_str());
  add(app.add_flag("--ordered", options.ordered, "Print in the order of the list, not of completion"));
  add(app.add_option("--shard", options.shard, "Read the K-th of N parts of the list; auto: Slurm, Kubernetes")
          ->type_name("K/N|auto"));
  add(app.add_option("--save", options.save, "Also write the reports to a file, as jsonl")->type_name("FILE"));
  add(app.add_flag("--force", options.force, "Let --save overwrite a file"));
  add(app.add_option("--resume", options.resume,
                     "Leave out what is complete in the jsonl of an earlier run, if it exists; --save appends")
          ->type_name("FILE"));
  add(app.add_option("--diff", options.diff, "Print what changed since the jsonl of an earlier run")
          ->type_name("FILE"));
  add(app.add_option("--baseline", options.baseline,
                     "Print firmware that deviates from the rules of a TOML or JSON file")
          ->type_name("FILE"));
}

}  // namespace Kelvar::Tool
