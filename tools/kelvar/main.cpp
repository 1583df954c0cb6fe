// kelvar: prints the inventory of a server, read through its service processor.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <kelvar/NodeFirmwareInventory.h>

#include "common/text/Escape.h"
#include "tools/kelvar/Commands.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/LogWatch.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/Password.h"
#include "tools/kelvar/Printer.h"
#include "tools/kelvar/Target.h"

namespace {

using namespace Kelvar;
using namespace Kelvar::Tool;

struct Options {
  std::string target;
  std::vector<std::string> what;
  std::string withCim;
  std::string passwordFile;
  std::string format = "table";
  int verbose = 0;
  bool quiet = false;
  bool commonEventId = false;
};

std::string Epilog() {
  std::string text = "WHAT is any of (default: identity firmware)\n";
  for (const Command& command : Commands()) {
    std::string over;
    for (const Protocol protocol : {Protocol::Ipmi, Protocol::Redfish, Protocol::Cim}) {
      if (command.For(protocol) != nullptr) {
        over += std::string(over.empty() ? "" : ", ") + NameOf(protocol);
      }
    }
    std::string name = command.name;
    name.resize(17, ' ');
    text += "  " + name + command.help + " (" + over + ")\n";
  }
  return text +
         "\nTARGET is one of\n"
         "  ipmi://[USER@]HOST[:PORT][?suite=N]     ipmi-local:N\n"
         "  redfish://[USER@]HOST[:PORT]\n"
         "  cim+http://, cim+https://               the service processor's CIM server\n"
         "  esxi+http://, esxi+https://...?zmc=N    the CIM server of an ESXi host\n"
         "  omc+http://, omc+https://               the CIM server of an OMC\n"
         "\nThe password comes from --password-file, the environment variable KELVAR_PASSWORD, or a prompt.\n"
         "Exit codes: 0 complete, 2 usage, 10 unreachable, 11 login refused, 12 TLS failure, 13 bad data,\n"
         "14 not supported, 20 partial, 1 anything else.\n";
}

void Declare(CLI::App& app, Options& options) {
  app.add_option("TARGET", options.target, "Whose inventory is read")->required();
  app.add_option("WHAT", options.what, "What is read");
  app.add_option("--with-cim", options.withCim, "CIM target that lists the components of a Redfish target")
      ->type_name("TARGET");
  app.add_option("--password-file", options.passwordFile, "File whose first line is the password")->type_name("FILE");
  app.add_option("--format", options.format, "table or json")
      ->check(CLI::IsMember({"table", "json"}))
      ->capture_default_str();
  app.add_flag("--common-event-id", options.commonEventId, "log over CIM: show common event IDs");
  app.add_flag("-v,--verbose", options.verbose, "Show the library's log; up to three times for more");
  app.add_flag("-q,--quiet", options.quiet, "Show nothing of the library's log");
  app.set_version_flag("--version", "kelvar " KELVAR_VERSION);
  app.footer(Epilog());
}

u32 ShownLogLevel(const Options& options) {
  return options.quiet ? 0 : 1 + static_cast<u32>(std::clamp(options.verbose, 0, 3));
}

Target CimPartner(const Options& options, const Target& target) {
  const Target partner = ParseTarget(options.withCim);
  if (target.protocol != Protocol::Redfish || partner.protocol != Protocol::Cim) {
    throw ToolError(ExitCode::Usage, "--with-cim takes a CIM target beside a Redfish target");
  }
  return partner;
}

std::unique_ptr<NodeFirmwareInventory> Connect(const Options& options, Target& target) {
  if (options.withCim.empty()) {
    if (target.NeedsPassword()) {
      target.info.Password = ReadPassword(options.passwordFile, target.address);
    }
    return std::make_unique<NodeFirmwareInventory>(target.info);
  }
  Target partner = CimPartner(options, target);
  target.info.Password = ReadPassword(options.passwordFile, target.address);
  partner.info.Password = target.info.Password;
  return std::make_unique<NodeFirmwareInventory>(partner.info, target.info);
}

/// `found` is what the log said meanwhile, or while connecting.
ExitCode Judge(const Outcome& outcome, const Findings& found) {
  const ExitCode byResult = ExitCodeOf(outcome.result);
  const bool complete = byResult == ExitCode::Complete && (outcome.wholeOrNothing || found.gaps == 0);
  if (complete) {
    return ExitCode::Complete;
  }
  if (outcome.Delivered()) {
    return ExitCode::Partial;
  }
  return found.cause.value_or(byResult == ExitCode::Complete ? ExitCode::BadData : byResult);
}

int Run(const Options& options) {
  Target target = ParseTarget(options.target);
  std::vector<const Command*> commands;
  for (const std::string& word : options.what) {
    commands.push_back(&CommandNamed(word, target.protocol));
  }
  Output output;
  LogWatch log(ShownLogLevel(options));
  const auto inventory = Connect(options, target);
  const Findings connecting = log.Take();
  if (inventory->GetConnectStatus() != 0) {
    throw ToolError(connecting.cause.value_or(ExitCode::Internal), "no connection to " + target.address);
  }
  const Session session{*inventory, target.info, options.commonEventId};
  Report report{target.address, {}};
  ExitCode exitCode = ExitCode::Complete;
  for (const Command* command : commands) {
    Outcome outcome = command->For(target.protocol)(session);
    Findings found = log.Take();
    found.cause = found.cause ? found.cause : connecting.cause;
    const ExitCode own = Judge(outcome, found);
    exitCode = report.entries.empty() ? own : Combine(exitCode, own);
    report.entries.push_back({command, std::move(outcome), own});
  }
  output.Write(options.format == "json" ? JsonText(report) : TableText(report));
  output.Finish();
  return static_cast<int>(exitCode);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Prints the inventory of one server, read through its service processor.", "kelvar");
  Options options;
  Declare(app, options);
  try {
    app.parse(argc, argv);
    if (options.what.empty()) {
      options.what = {"identity", "firmware"};
    }
    return Run(options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::Usage);
  } catch (const ToolError& error) {
    std::fprintf(stderr, "kelvar: %s\n", Text::EscapeControl(error.what()).c_str());
    return static_cast<int>(error.Code());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kelvar: %s\n", Text::EscapeControl(error.what()).c_str());
    return static_cast<int>(ExitCode::Internal);
  }
}
