// kelvar: prints the inventory of a server, read through its service processor.

#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/HostProbe.h"
#include "tools/kelvar/Options.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/RawResource.h"
#include "tools/kelvar/fleet/Fleet.h"
#include "tools/kelvar/fleet/Health.h"
#include "tools/kelvar/fleet/LogFollow.h"
#include "tools/kelvar/fleet/RunDiff.h"
#include "tools/kelvar/fleet/SingleTarget.h"
#include "tools/kelvar/serve/Serve.h"

namespace {

using namespace Kelvar;
using namespace Kelvar::Tool;

int Read(const char* name, bool operations, int argc, const char* const* argv) {
  CLI::App app(operations ? "Prints the records of the library's fixed operations."
                          : "Prints the inventory of a server, read through its service processor.",
               name);
  Options options;
  options.operations = operations;
  FleetOptions fleet;
  Declare(app, options);
  DeclareFleet(app, fleet);
  app.callback([&] {
    if (options.target.empty() && fleet.targets.empty()) {
      throw CLI::RequiredError("TARGET");
    }
  });
  if (const std::optional<int> over = Parse(app, argc, argv)) {
    return *over;
  }
  if (options.follow) {
    constexpr u32 kFirst = 10;  // as other programs that follow a file
    const bool chosen = app.count("--limit") + app.count("--since") > 0;
    options.reader.log_limit = chosen ? options.reader.log_limit : kFirst;
  }
  if (fleet.targets.empty()) {
    return options.follow ? FollowLogs(options) : ReadSingleTarget(options);
  }
  if (!options.target.empty()) {
    options.what.insert(options.what.begin(), options.target);
  }
  fleet.formatGiven = app.count("--format") > 0;
  fleet.words.assign(argv + 1, argv + argc);
  return ReadFleet(options, fleet);
}

int ReadInventories(int argc, const char* const* argv) {
  return Read("kelvar", false, argc, argv);
}

int ReadOperations(int argc, const char* const* argv) {
  return Read("kelvar operation", true, argc, argv);
}

struct Mode {
  std::string_view word;
  int (*run)(int argc, const char* const* argv);
};

/// Words in the place of the target; anything else is one.
constexpr Mode kModes[] = {{"diff", DiffMain},   {"health", HealthMain}, {"operation", ReadOperations},
                           {"probe", ProbeHost}, {"raw", RawMain},       {"serve", Serve::Main}};

int Dispatch(int argc, const char* const* argv) {
  for (const Mode& mode : kModes) {
    if (argc > 1 && argv[1] == mode.word) {
      return mode.run(argc - 1, argv + 1);
    }
  }
  return ReadInventories(argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Dispatch(argc, argv);
  } catch (const ToolError& error) {
    PrintError(error.what());
    return static_cast<int>(error.Code());
  } catch (const std::exception& error) {
    PrintError(error.what());
    return static_cast<int>(ExitCode::Internal);
  }
}
