#include "tools/kelvar/Options.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include "tools/kelvar/CommandLine.h"
#include "tools/kelvar/Formats.h"
#include "tools/kelvar/Operations.h"
#include "tools/kelvar/inventory/IsoTime.h"

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
    name.resize(16, ' ');
    text.append("  ").append(name).append(operation.help).append(" (").append(over).append(")\n");
  }
  return text;
}

std::string FamiliesText() {
  return "WHAT is any of (default: all that the target has)\n"
         "  system        systems, managers and chassis\n"
         "  firmware      versions of all firmware\n"
         "  components    processors, memory, drives, adapters, supplies, fans\n"
         "  sensors       readings and their limits\n"
         "  leds          indicator LEDs\n"
         "  logs          entries of all logs\n"
         "  network       interfaces and services\n";
}

constexpr const char* kTargets =
    "\nTARGET is one of\n"
    "  ipmi://[USER@]HOST[:PORT][?suite=N]     ipmi-local:N\n"
    "      with ipmi also &kg-file=FILE and &session=1.5-md5|1.5-password\n"
    "  redfish://[USER@]HOST[:PORT]\n"
    "  cim+http://, cim+https://               the service processor's CIM server\n"
    "  esxi+http://, esxi+https://...?zmc=N    the CIM server of an ESXi host\n"
    "  omc+http://, omc+https://               the CIM server of an OMC\n"
    "  demo:[redfish|cim|ipmi][?machine=NAME]  a simulated machine, for this run\n";

constexpr const char* kCommands =
    "\nOther commands\n"
    "  kelvar health TARGET...             a verdict for each machine, and reasons\n"
    "  kelvar diff A B                     what differs between two runs or targets\n"
    "  kelvar probe HOST                   which protocols answer, and why not\n"
    "  kelvar raw TARGET PATH              one Redfish resource as JSON\n"
    "  kelvar operation TARGET [NAME...]   the library's fixed operations\n"
    "  kelvar serve                        metrics for Prometheus\n";

constexpr const char* kEnd =
    "\nThe password comes from --password-file, --password-command, the environment\n"
    "variable KELVAR_PASSWORD, the configuration file, or a prompt.\n"
    "Exit codes: 0 complete, 2 usage, 10 unreachable, 11 login refused, 12 TLS\n"
    "failure, 13 bad data, 14 not supported, 20 partial, 21 some of many targets\n"
    "failed, 22 differences found, 1 anything else.\n";

constexpr const char* kExamples =
    "\nExamples\n"
    "  kelvar demo:\n"
    "  kelvar redfish://admin@192.0.2.10 sensors logs --limit 20\n"
    "  kelvar --targets servers.txt --format html > servers.html";

constexpr const char* kOperationExamples =
    "\nExamples\n"
    "  kelvar operation demo:cim firmware identity\n"
    "  kelvar operation ipmi://admin@192.0.2.10\n"
    "  kelvar operation --format csv cim+https://admin@192.0.2.10 log";

std::string Footer(bool operations) {
  if (operations) {
    return "NAME is any of (default: all that the target offers)\n" + WordsText() + kTargets + kEnd +
           kOperationExamples;
  }
  return FamiliesText() + kTargets + kCommands + kEnd + kExamples;
}

/// For CLI11: what is wrong with a date or time; empty when nothing is.
std::string IsoTime(const std::string& text) {
  constexpr std::string_view kShape = "0000-00-00T00:00:00";
  constexpr std::size_t kDate = 10;
  const std::string time = text.size() == kDate ? text + "T00:00:00" : text;
  std::string shape = time.substr(0, kShape.size());
  std::replace_if(
      shape.begin(), shape.end(), [](char one) { return one >= '0' && one <= '9'; }, '0');
  const bool valid = shape == kShape && (SecondsOfIsoTime(time) || SecondsOfIsoTime(time + "Z"));  // UTC without a zone
  return valid ? "" : "\"" + text + "\" is not a date or time such as 2026-03-01 or 2026-03-01T08:00:00Z";
}

/// For CLI11: the same for a fingerprint.
std::string Fingerprint(std::string text) {
  constexpr std::size_t kDigits = 64;
  text.erase(std::remove(text.begin(), text.end(), ':'), text.end());
  const bool valid = text.size() == kDigits && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  return valid ? "" : "a SHA-256 fingerprint has 64 hexadecimal digits";
}

/// Options of the reading of the inventory.
void DeclareReader(CLI::App& app, Options& options) {
  app.add_option("--columns", options.columns, "Keys that tables and csv show, such as name,reading,health")
      ->delimiter(',')
      ->allow_extra_args(false)  // what comes next is a target or a part
      ->type_name("KEY,...");
  app.add_option("--limit", options.reader.log_limit, "Most entries of each log; 0 for all")->type_name("N");
  app.add_option("--since", options.reader.log_since, "Leave out older log entries; a date or time such as 2026-03-01")
      ->check(IsoTime)
      ->type_name("TIME");
  app.add_option("--severity", options.severity, "Leave out less severe log entries")
      ->check(CLI::IsMember({"warning", "critical"}));
  constexpr unsigned kLongestInterval = 3600;
  auto* const follow = app.add_flag("--follow", options.follow, "Show new log entries as they come, until interrupted");
  app.add_option("--interval", options.intervalSeconds, "With --follow: seconds between two readings")
      ->check(CLI::Range(1U, kLongestInterval))
      ->type_name("SECONDS")
      ->capture_default_str()
      ->needs(follow);
  app.add_flag("!--oldest-first", options.reader.newest_first, "Show logs from the oldest entry on");
}

/// Columns of the terminal that standard output is; 0 when it is none.
std::size_t TerminalWidth() {
  constexpr std::size_t kLeast = 40;
  winsize size{};
  if (isatty(STDOUT_FILENO) != 1) {
    return 0;
  }
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return std::max<std::size_t>(kLeast, known ? size.ws_col : 80);
}

void DeclareOutput(CLI::App& app, Options& options) {
  app.add_option("--format", options.format, "Output format; with --targets jsonl unless on a terminal")
      ->check(CLI::IsMember(FormatNames(options.operations)))
      ->capture_default_str();
  app.add_flag("--explain", options.explain, "Show the requests that were made and what came back");
  app.add_flag("--wide", options.wide, "Do not fit tables to the terminal");
}

bool Set(const char* variable) {
  const char* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

void DeclareConnection(CLI::App& app, Options& options) {
  app.add_option("--deadline,--timeout", options.deadlineSeconds, "Time limit for one target; 0 for none")
      ->check([](const std::string& text) { return text.find_first_of("nN") == text.npos ? "" : "not a number"; })
      ->check(CLI::Range(0.0, kLongestDeadline))
      ->type_name("SECONDS")
      ->capture_default_str();
  CLI::Option* const authorities = app.add_option("--cacert", options.reader.connection.tls_ca_file,
                                                  "Verify the target's certificate by those of a file")
                                       ->check(CLI::ExistingFile)
                                       ->type_name("FILE");
  const std::string insecure = "Verify no certificate, as by default";
  CLI::Option* const pin = app.add_option("--pin", options.reader.connection.tls_pinned_fingerprint,
                                          "Accept only the certificate with this SHA-256 fingerprint")
                               ->check(Fingerprint)
                               ->type_name("HEX");
  app.add_flag("--insecure", insecure)->excludes(authorities)->excludes(pin);
}

void DeclareRequests(CLI::App& app, Options& options) {
  constexpr u32 kMostRequests = 16;
  app.add_option("--requests", options.reader.requests_at_once, "Redfish requests at the same time")
      ->check(CLI::Range(1U, kMostRequests))
      ->type_name("N")
      ->capture_default_str();
  app.add_option("--auth", options.authentication, "How to log in to Redfish")
      ->check(CLI::IsMember({"automatic", "session", "basic"}))
      ->capture_default_str();
  app.add_flag("!--no-cache", options.reader.sdr_cache, "IPMI: neither use nor write cached sensor data records");
}

void DeclareScreen(CLI::App& app, Options& options) {
  app.add_option("--color", options.colour, "When to use colours")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str();
  app.add_flag("-v,--verbose", options.verbose, "Show what goes wrong on the way; up to three times for more");
  app.add_flag("-q,--quiet", options.quiet, "Show no reasons, no summary and no progress on standard error");
}

void DeclareReading(CLI::App& app, Options& options) {
  DeclareConnection(app, options);
  DeclareRequests(app, options);
  DeclarePassword(app, options.password);
  DeclareConfig(app, options.config);
  DeclareScreen(app, options);
}

void Declare(CLI::App& app, Options& options) {
  app.add_option("TARGET", options.target, "Server to read: a URL, see below");
  if (options.operations) {
    app.add_option("NAME", options.what, "Operations to run, see below");
    app.add_option("--with-cim", options.withCim, "CIM target that lists the components of a Redfish target")
        ->type_name("TARGET");
    app.add_flag("--common-event-id", options.commonEventId, "CIM: show common event IDs in the log");
  } else {
    app.add_option("WHAT", options.what, "Parts to read, see below");
    DeclareReader(app, options);
    DeclareRequests(app, options);
  }
  DeclarePassword(app, options.password);
  DeclareConfig(app, options.config);
  DeclareConnection(app, options);
  DeclareOutput(app, options);
  DeclareScreen(app, options);
  app.set_version_flag("--version", "kelvar " KELVAR_VERSION, "Print the version and exit");
  app.footer(Footer(options.operations));
}

DocumentStyle StyleOf(const Options& options) {
  return {.operations = options.operations,
          .colour = ColourOf(options),
          .width = options.wide ? 0 : TerminalWidth(),
          .columns = options.columns,
          .families = options.what};
}

std::chrono::milliseconds TimeLimitOf(const Options& options) {
  constexpr double kThousand = 1000;
  constexpr double kGrace = 6;  // for a session that opened at the last moment to be closed
  const double seconds =
      options.deadlineSeconds > 0 && !options.operations ? options.deadlineSeconds + kGrace : options.deadlineSeconds;
  return std::chrono::milliseconds(static_cast<long>(std::ceil(seconds * kThousand)));
}

ReadOptions ReadOptionsOf(const Options& options, std::vector<std::string> what) {
  using Authentication = InventoryReaderOptions::Authentication;
  ReadOptions read{.what = std::move(what), .operations = options.operations, .reader = options.reader};
  read.commonEventId = options.commonEventId;
  read.severity = options.severity;
  read.reader.deadline_seconds = options.deadlineSeconds;
  if (read.reader.sdr_cache) {
    read.reader.sdr_cache_folder = DefaultCacheFolder();
  }
  read.reader.authentication = options.authentication == "basic"     ? Authentication::Basic
                               : options.authentication == "session" ? Authentication::Session
                                                                     : Authentication::Automatic;
  return read;
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
