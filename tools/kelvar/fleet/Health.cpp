#include "tools/kelvar/fleet/Health.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <unistd.h>
#include <CLI/CLI.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Demo.h"
#include "tools/kelvar/Options.h"
#include "tools/kelvar/fleet/Fleet.h"
#include "tools/kelvar/inventory/HealthText.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"

namespace Kelvar::Tool {

namespace {

struct HealthOptions {
  std::vector<std::string> targets;
  bool plugin = false;
  Options reading;
  FleetOptions fleet;
};

constexpr const char* kFooter =
    "One verdict for each machine, the worst reason first: the health of systems,\n"
    "components and sensors, readings beyond their limits and unresolved critical\n"
    "events.\n"
    "\nExit codes: 0 ok, 30 warning, 31 critical, 32 unknown, 2 usage, 1 anything\n"
    "else. With --nagios: 0 ok, 1 warning, 2 critical, 3 unknown.\n"
    "\nExamples\n"
    "  kelvar health demo:\n"
    "  kelvar health --targets servers.txt\n"
    "  kelvar health --nagios redfish://monitor@192.0.2.10";

void DeclareHealth(CLI::App& app, HealthOptions& options) {
  constexpr u32 kLogEntries = 200;  // of each log: older ones are not news
  constexpr unsigned kMostJobs = 4096;
  options.reading.what = {"system", "components", "sensors", "logs"};
  options.reading.reader.log_limit = kLogEntries;
  app.add_option("TARGET", options.targets, "Servers to check");
  app.add_option("--targets", options.fleet.targets, "File with one target on each line, - for standard input")
      ->type_name("FILE");
  auto* const format = app.add_option("--format", options.reading.format, "Output format")
                           ->check(CLI::IsMember({"table", "json", "jsonl"}))
                           ->capture_default_str();
  app.add_flag("--nagios", options.plugin, "One line in the format of monitoring plug-ins; for one target")
      ->excludes(format);
  app.add_option("--jobs", options.fleet.jobs, "Targets read at the same time")
      ->check(CLI::Range(1U, kMostJobs))
      ->type_name("N")
      ->capture_default_str();
  DeclareReading(app, options.reading);
  app.footer(kFooter);
}

std::vector<ListedTarget> ListOf(const HealthOptions& options, std::deque<DemoMachine>& demos) {
  if (options.plugin && (options.targets.size() != 1 || !options.fleet.targets.empty())) {
    throw ToolError(ExitCode::Usage, "--nagios takes one target");
  }
  std::vector<ListedTarget> list;
  if (!options.fleet.targets.empty()) {
    list = ReadTargetList(options.fleet.targets, options.reading.what);
  }
  for (const std::string& address : options.targets) {
    ListedTarget listed;
    listed.name = address;
    listed.what = options.reading.what;
    listed.hasAccount = DemoMachine::Names(address);
    listed.target = listed.hasAccount ? demos.emplace_back(address).Address() : ParseTarget(address);
    list.push_back(std::move(listed));
  }
  if (list.empty()) {
    throw ToolError(ExitCode::Usage, "no target; use kelvar health TARGET...");
  }
  return list;
}

class WorstCode {
 public:
  void Take(HealthCode code) {
    HealthCode known = worst_;
    while (!worst_.compare_exchange_weak(known, WorseOf(known, code))) {
    }
  }
  HealthCode Worst() const { return worst_; }

 private:
  std::atomic<HealthCode> worst_{HealthCode::Ok};
};

using TextOfInventory = std::string (*)(const InventoryReport& report, const DocumentStyle& style);

/// The verdict of one machine, in the format that was asked for.
TextOfInventory TextFor(const HealthOptions& options) {
  if (options.plugin) {
    return [](const InventoryReport& report, const DocumentStyle& /*style*/) { return PluginText(report); };
  }
  if (options.reading.format == "json") {
    return [](const InventoryReport& report, const DocumentStyle& /*style*/) {
      return IndentedJsonText(report, JsonContent::Verdict);
    };
  }
  if (options.reading.format == "jsonl") {
    return [](const InventoryReport& report, const DocumentStyle& /*style*/) {
      return JsonText(report, JsonContent::Verdict);
    };
  }
  return [](const InventoryReport& report, const DocumentStyle& style) {
    return HealthText(report, style.colour, style.width);
  };
}

Formatter FormatterOf(const HealthOptions& options, const DocumentStyle& style, WorstCode& worst) {
  const bool array =
      options.reading.format == "json" && (options.targets.size() != 1 || !options.fleet.targets.empty());
  const TextOfInventory text = TextFor(options);
  return {.head = array ? "[\n" : "",
          .separator = array ? ",\n" : "",
          .foot = array ? "]\n" : "",
          .textOf = [text, style, &worst](const Report& report) {
            const auto inventory = InventoryOf(report);
            worst.Take(HealthCodeOf(inventory->verdict));
            return text(*inventory, style);
          }};
}

int Show(const HealthOptions& options) {
  std::deque<DemoMachine> demos;
  std::vector<ListedTarget> list = ListOf(options, demos);
  WorstCode worst;
  const DocumentStyle style = StyleOf(options.reading);  // before the output is taken
  Output output;
  ReportWriter writer(output, FormatterOf(options, style, worst), options.fleet);
  const bool all = ReadTargets(options.reading, options.fleet, writer, std::move(list), [] {});
  writer.Finish("");
  const int code = options.plugin ? PluginCodeOf(worst.Worst()) : static_cast<int>(worst.Worst());
  if (!all) {
    demos.clear();
    _exit(code);
  }
  return code;
}

constexpr int kPluginUnknown = 3;

int Check(int argc, const char* const* argv, bool plugin) {
  CLI::App app("Shows whether machines are healthy, and what is wrong with them.", "kelvar health");
  HealthOptions options;
  DeclareHealth(app, options);
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    if (plugin && *over != 0) {
      std::printf("%s", PluginErrorText("wrong usage, see standard error").c_str());
      return kPluginUnknown;
    }
    return *over;
  }
  return Show(options);
}

}  // namespace

int HealthMain(int argc, const char* const* argv) {
  const bool plugin = std::any_of(argv, argv + argc, [](std::string_view word) { return word == "--nagios"; });
  try {
    return Check(argc, argv, plugin);
  } catch (const std::exception& error) {
    if (!plugin) {
      throw;
    }
    // The usual codes would be a warning or a critical machine to a monitoring system, which reads standard output.
    PrintError(error.what());
    std::printf("%s", PluginErrorText(error.what()).c_str());
    return kPluginUnknown;
  }
}

}  // namespace Kelvar::Tool
