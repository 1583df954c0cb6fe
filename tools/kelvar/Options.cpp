#include "tools/kelvar/Options.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <unistd.h>
#include <CLI/CLI.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Formats.h"
#include "tools/kelvar/Operations.h"

namespace Kelvar::Tool {

namespace {

constexpr double kLongestDeadline = 86400;

std::string WordsText() {
  std::string text;
  for (const Operation& operation : Operations()) {
    std::string over;
    for (const Protocol protocol : {Protocol::Ipmi, Protocol::Redfish, Protocol::Cim}) {
      if (operation.For(protocol) != nullptr) {
        over += std::string(over.empty() ? "" : ", ") + NameOf(protocol);
      }
    }
    std::string name = operation.name;
    name.resize(17, ' ');
    text += "  " + name + operation.help + " (" + over + ")\n";
  }
  return text;
}

std::string Footer() {
  return "WHAT is any of (default: everything that the target offers)\n" + WordsText() +
         "\nTARGET is one of\n"
         "  ipmi://[USER@]HOST[:PORT][?suite=N]     ipmi-local:N\n"
         "      ipmi also: &kg-file=FILE, &session=1.5-md5|1.5-password\n"
         "  redfish://[USER@]HOST[:PORT]\n"
         "  cim+http://, cim+https://               the service processor's CIM server\n"
         "  esxi+http://, esxi+https://...?zmc=N    the CIM server of an ESXi host\n"
         "  omc+http://, omc+https://               the CIM server of an OMC\n"
         "  demo:[redfish|cim|ipmi][?machine=NAME]  a simulated machine, started for this run\n"
         "\nOther commands: kelvar probe HOST (which protocols answer, and why others do not),\n"
         "kelvar serve (metrics for Prometheus)\n"
         "\nThe password comes from --password-file, --password-command, the environment variable KELVAR_PASSWORD,\n"
         "the configuration file, or a prompt.\n"
         "Exit codes: 0 complete, 2 usage, 10 unreachable, 11 login refused, 12 TLS failure, 13 bad data,\n"
         "14 not supported, 20 partial, 21 some of many targets failed,\n"
         "22 differences found, 1 anything else.\n";
}

void DeclareOutput(CLI::App& app, Options& options) {
  app.add_option("--format", options.format, "How to print; default with --targets: jsonl (table on a terminal)")
      ->check(CLI::IsMember(FormatNames()))
      ->capture_default_str();
  app.add_option("--color", options.colour, "auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str();
  app.add_flag("--explain", options.explain, "Show the requests that were made and what came back");
  app.add_option("--deadline", options.deadlineSeconds, "Seconds for one target, 0 for no deadline")
      ->check(CLI::Range(0.0, kLongestDeadline))
      ->type_name("SECONDS")
      ->capture_default_str();
  app.add_flag("-v,--verbose", options.verbose, "Show what goes wrong on the way; up to three times for more");
  app.add_flag("-q,--quiet", options.quiet, "Show no reasons, no summary and no progress on standard error");
}

bool Set(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

void Declare(CLI::App& app, Options& options) {
  app.add_option("TARGET", options.target, "Whose inventory is read");
  app.add_option("WHAT", options.what, "What is read");
  app.add_option("--with-cim", options.withCim, "CIM target that lists the components of a Redfish target")
      ->type_name("TARGET");
  app.add_flag("--common-event-id", options.commonEventId, "log over CIM: show common event IDs");
  DeclarePassword(app, options.password);
  DeclareConfig(app, options.config);
  DeclareOutput(app, options);
  app.set_version_flag("--version", "kelvar " KELVAR_VERSION);
  app.footer(Footer());
}

u32 ShownLogLevel(const Options& options) {
  constexpr int kMost = 3;
  const bool shown = options.verbose > 0 && !options.quiet;
  return shown ? 1 + static_cast<u32>(std::min(options.verbose, kMost)) : 0;
}

Colour ColourOf(const Options& options) {
  if (options.colour != "auto") {
    return options.colour == "always" ? Colour::Always : Colour::Never;
  }
  const char* const terminal = std::getenv("TERM");
  const bool dumb = terminal == nullptr || std::strcmp(terminal, "dumb") == 0;
  return !Set("NO_COLOR") && !dumb && isatty(STDOUT_FILENO) == 1 ? Colour::Always : Colour::Never;
}

}  // namespace Kelvar::Tool
