#include "tools/kelvar/fleet/RunDiff.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Demo.h"
#include "tools/kelvar/Options.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/fleet/Comparison.h"
#include "tools/kelvar/fleet/Fleet.h"
#include "tools/kelvar/fleet/StoredReport.h"

namespace Kelvar::Tool {

namespace {

using Reports = std::map<std::string, StoredReport>;

struct DiffOptions {
  std::string before;
  std::string after;
  Options reading;
};

/// One side of the comparison.
struct Side {
  Reports reports;
  ExitCode code = ExitCode::Complete;  ///< of a target that was read
  bool hangs = false;                  ///< a thread is left that does not come back
};

constexpr const char* kEndOfReport =
    "A and B are files of saved reports (--save, or --format json or jsonl), or\n"
    "targets, which are read now. Systems, firmware and components are compared.\n"
    "If each side has one machine, its address does not matter.\n"
    "\nExit codes: 0 no difference, 22 differences, 20 no difference, but something\n"
    "could not be compared, 2 usage; if a target could not be read, as for kelvar.\n"
    "\nExamples\n"
    "  kelvar diff monday.jsonl tuesday.jsonl\n"
    "  kelvar diff before.json redfish://admin@192.0.2.10\n"
    "  kelvar diff redfish://admin@192.0.2.10 redfish://admin@192.0.2.11";

bool IsFile(const std::string& name) {
  struct stat status {};
  return stat(name.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

/// What lasts of a target, read now.
Side ReadSide(const std::string& address, const Options& options, Output& output) {
  std::optional<DemoMachine> demo;
  if (DemoMachine::Names(address)) {
    demo.emplace(address);
  }
  std::vector<ListedTarget> list(1);
  list.front().name = address;
  list.front().what = options.what;
  list.front().hasAccount = demo.has_value();
  list.front().target = demo ? demo->Address() : ParseTarget(address);
  Side side;
  FleetOptions alone;
  alone.jobs = 1;
  const auto keep = [&side](const Report& report) {
    side.code = report.code;
    if (!report.error.empty()) {
      PrintError(report.target + ": " + report.error);
    }
    if (auto stored = ParseStoredReport(JsonLineOf(report))) {
      side.reports[stored->target] = std::move(*stored);
    }
    return std::string();
  };
  ReportWriter writer(output, {.textOf = keep}, alone);
  side.hangs = !ReadTargets(options, alone, writer, std::move(list), [] {});
  writer.Finish("");
  return side;
}

Side SideOf(const std::string& name, const Options& options, Output& output) {
  if (!IsFile(name) && name.find(':') == std::string::npos) {
    throw ToolError(ExitCode::Usage, name + ": no such file, and not a target such as redfish://admin@192.0.2.10");
  }
  return IsFile(name) ? Side{.reports = ReadAnyReports(name)} : ReadSide(name, options, output);
}

void Reduce(Reports& reports) {
  for (auto& [target, report] : reports) {
    KeepWhatLasts(report);
  }
}

/// A machine alone on both sides is the same one, under whatever address.
void Pair(Reports& before, const Reports& after) {
  if (before.size() == 1 && after.size() == 1) {
    auto node = before.extract(before.begin());
    node.key() = after.begin()->first;
    before.insert(std::move(node));
  }
}

/// Targets and parts that only the first side has.
std::vector<Difference> OnlyBefore(const Reports& before, const Reports& after) {
  std::vector<Difference> differences;
  for (const auto& [target, report] : before) {
    const auto now = after.find(target);
    if (now == after.end()) {
      differences.push_back({Difference::Kind::Removed, target, "", "", "", "", ""});
      continue;
    }
    for (const auto& [what, part] : report.parts) {
      if (!now->second.parts.empty() && now->second.parts.count(what) == 0) {
        differences.push_back({Difference::Kind::Unread, target, what, "", "", "", "not in the second run"});
      }
    }
  }
  return differences;
}

std::vector<Difference> DifferencesOf(Reports before, Reports after) {
  Reduce(before);
  Reduce(after);
  Pair(before, after);
  std::vector<Difference> differences = OnlyBefore(before, after);
  const Comparison comparison(std::move(before));
  for (const auto& [target, report] : after) {
    std::vector<Difference> some = comparison.Compare(report);
    std::move(some.begin(), some.end(), std::back_inserter(differences));
  }
  return differences;
}

void Print(const std::vector<Difference>& differences, const std::string& format, Output& output) {
  const bool array = format == "json";
  output.Write((array ? "[\n" : "") + TextOf(differences, format != "table", array ? "," : "") + (array ? "]\n" : ""));
  output.Finish();
}

ExitCode CodeOf(const std::vector<Difference>& differences, std::size_t found, const Side& before, const Side& after) {
  for (const Side* side : {&before, &after}) {
    if (side->code != ExitCode::Complete && side->code != ExitCode::Partial) {
      return side->code;
    }
  }
  if (found > 0) {
    return ExitCode::Different;
  }
  return differences.empty() ? ExitCode::Complete : ExitCode::Partial;
}

int Show(const DiffOptions& options) {
  Output output;
  Side before = SideOf(options.before, options.reading, output);
  Side after = SideOf(options.after, options.reading, output);
  const std::vector<Difference> differences = DifferencesOf(std::move(before.reports), std::move(after.reports));
  const auto found = static_cast<std::size_t>(
      std::count_if(differences.begin(), differences.end(), [](const Difference& one) { return one.IsDifference(); }));
  Print(differences, options.reading.format, output);
  if (!options.reading.quiet) {
    PrintError(fmt::format("differences: {}", found));
  }
  const ExitCode code = CodeOf(differences, found, before, after);
  if (before.hangs || after.hangs) {
    _exit(static_cast<int>(code));
  }
  return static_cast<int>(code);
}

}  // namespace

int DiffMain(int argc, const char* const* argv) {
  CLI::App app("Shows what differs between two runs or two machines.", "kelvar diff");
  DiffOptions options;
  options.reading.what = {"system", "firmware", "components", "network"};  // a manager's host name is in the last
  app.add_option("A", options.before, "File of saved reports, or a target")->required();
  app.add_option("B", options.after, "The same, to compare with A")->required();
  app.add_option("--format", options.reading.format, "Output format")
      ->check(CLI::IsMember({"table", "json", "jsonl"}))
      ->capture_default_str();
  DeclareReading(app, options.reading);
  app.footer(kEndOfReport);
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    return *over;
  }
  return Show(options);
}

}  // namespace Kelvar::Tool
