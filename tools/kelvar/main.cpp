// kelvar: prints the inventory of a server, read through its service processor.

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "common/text/Escape.h"
#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/Demo.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/Options.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/Printer.h"
#include "tools/kelvar/Probe.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/Target.h"
#include "tools/kelvar/fleet/Fleet.h"
#include "tools/kelvar/html/HtmlPage.h"
#include "tools/kelvar/serve/Serve.h"

namespace {

using namespace Kelvar;
using namespace Kelvar::Tool;

std::optional<Target> CimPartner(const Options& options, const Target& target) {
  if (options.withCim.empty()) {
    return std::nullopt;
  }
  Target partner = ParseTarget(options.withCim);
  if (target.protocol != Protocol::Redfish || partner.protocol != Protocol::Cim) {
    throw ToolError(ExitCode::Usage, "--with-cim takes a CIM target beside a Redfish target");
  }
  return partner;
}

std::string TextOf(const Report& report, const std::string& format, Colour colour) {
  if (format == "json") {
    return IndentedJsonText(report);
  }
  if (format == "jsonl") {
    return JsonText(report);
  }
  if (format == "html") {
    return HtmlText(report);
  }
  return format == "csv" ? CsvHead() + CsvText(report) : TableText(report, colour);
}

void FillAccounts(const Options& options, bool demo, Target& target, std::optional<Target>& partner) {
  if (demo && !partner) {
    return;
  }
  Credentials credentials(options.password, ConfigNamed(options.config));
  if (!demo) {
    credentials.Fill(target);
  }
  if (partner) {
    credentials.Fill(*partner);
  }
}

void Explain(const char* part, const std::vector<std::string>& exchanges) {
  if (exchanges.empty()) {
    return;
  }
  const std::size_t count = exchanges.size();
  std::string text = std::string(part) + ": " + std::to_string(count) + (count == 1 ? " request\n" : " requests\n");
  for (const std::string& exchange : exchanges) {
    text += "  " + Text::EscapeControl(exchange) + '\n';
  }
  WriteToStandardError(text);
}

void Explain(const Report& report) {
  Explain("connect", report.connecting);
  for (const Report::Entry& entry : report.entries) {
    Explain(entry.command->name, entry.exchanges);
  }
}

int Run(const Options& options) {
  std::optional<DemoMachine> demo;
  if (DemoMachine::Names(options.target)) {
    demo.emplace(options.target);
  }
  Target target = demo ? demo->Address() : ParseTarget(options.target);
  CommandsFor(options.what, target.protocol);  // before a password is asked for
  std::optional<Target> partner = CimPartner(options, target);
  const Colour colour = ColourOf(options);
  Output output;
  FillAccounts(options, demo.has_value(), target, partner);
  LogWatch log(ShownLogLevel(options), options.explain);
  const Report report = ReadTarget(target, partner, {options.what, options.commonEventId}, log);
  output.Write(TextOf(report, options.format, colour));
  output.Finish();
  if (options.explain) {
    Explain(report);
  }
  if (!report.error.empty()) {
    Complain(report.error);
  }
  return static_cast<int>(report.code);
}

int Read(int argc, const char* const* argv) {
  CLI::App app("Prints the inventory of a server, read through its service processor.", "kelvar");
  Options options;
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
  if (fleet.targets.empty()) {
    return Run(options);
  }
  if (!options.target.empty()) {
    options.what.insert(options.what.begin(), options.target);
  }
  fleet.formatGiven = app.count("--format") > 0;
  return ReadFleet(options, fleet);
}

struct Mode {
  std::string_view word;
  int (*run)(int argc, const char* const* argv);
};

/// Words in the place of the target; anything else is one.
constexpr Mode modes[] = {{"probe", Probe}, {"serve", Serve::Main}};

int Dispatch(int argc, const char* const* argv) {
  for (const Mode& mode : modes) {
    if (argc > 1 && argv[1] == mode.word) {
      return mode.run(argc - 1, argv + 1);
    }
  }
  return Read(argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Dispatch(argc, argv);
  } catch (const ToolError& error) {
    Complain(error.what());
    return static_cast<int>(error.Code());
  } catch (const std::exception& error) {
    Complain(error.what());
    return static_cast<int>(ExitCode::Internal);
  }
}
