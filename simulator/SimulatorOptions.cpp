#include "simulator/SimulatorOptions.h"

#include <iostream>

#include <CLI/CLI.hpp>

namespace Kelvar::Simulator {

namespace {

constexpr const char* kFooter =
    "A fleet (--fleet N) serves only Redfish unless --serve says otherwise, and\n"
    "announces each machine with a line of its own. SPEC of a fleet's fault is dead,\n"
    "silent, garbage, slow, an HTTP status, or PROTOCOL:NAME.\n"
    "\n"
    "Examples\n"
    "  kelvar-bmcsim --redfish 18443\n"
    "  kelvar-bmcsim --fleet 500 --fleet-fault 0.1:dead --targets servers.txt\n"
    "  kelvar-bmcsim record --user admin https://192.0.2.10 mymachine";

struct PortOption {
  const char* protocol;
  const char* help;
};

constexpr PortOption kPorts[] = {{"ipmi", "UDP port of IPMI"},
                                 {"redfish", "TCP port of Redfish over HTTPS"},
                                 {"cim", "TCP port of CIM over HTTP"},
                                 {"cim-https", "TCP port of CIM over HTTPS"}};

void DeclareMachine(CLI::App& app, Options& options) {
  app.add_option("--machine", options.machine, "Name of a machine, or a folder with a machine.json")
      ->type_name("NAME|DIR")
      ->capture_default_str();
  app.add_option("--machines", options.library, "Folder in which machines are looked up by name")->type_name("DIR");
  app.add_option("--serve", options.serve, "Serve only these protocols")
      ->delimiter(',')
      ->type_name("PROTOCOL")
      ->check(CLI::IsMember(ProtocolNames()));
  for (const PortOption& port : kPorts) {
    app.add_option(std::string("--") + port.protocol, options.ports[port.protocol],
                   std::string(port.help) + "; else a free one")
        ->type_name("PORT");
  }
  app.add_option("--fault", options.faults, "Switch a fault of the machine's data on")->type_name("PROTOCOL:NAME");
  app.add_option("--cim-flavour", options.cimFlavour, "Kind of CIM target, from cim/server.json")->type_name("NAME");
  app.add_option("--log-entries", options.logEntries, "Make each log this long")->type_name("N");
  app.add_option("--sensors", options.sensors, "Make each list of sensors this long")->type_name("N");
  app.add_option("--latency,--latency-ms", options.latencyMs, "Milliseconds before each answer over HTTP")
      ->type_name("MS");
  app.add_option("--session-limit", options.sessionLimit, "Redfish: refuse sessions beyond this many")->type_name("N");
  app.add_option("--session-timeout", options.sessionTimeout, "Redfish: forget a session idle for this long")
      ->type_name("SECONDS");
  app.add_option("--session-requests", options.sessionRequests, "Redfish: forget a session after N requests")
      ->type_name("N");
  app.add_flag("--until-eof", options.untilEof, "End when standard input ends");
}

void DeclareFleet(CLI::App& app, Options& options) {
  constexpr std::size_t kMost = 20'000;
  CLI::Option* fleet = app.add_option("--fleet", options.fleet, "Serve this many machines of this kind")
                           ->type_name("N")
                           ->check(CLI::Range(std::size_t{1}, kMost));
  app.add_option("--fleet-fault", options.fleetFaults, "Give a share of a fleet a fault, such as 0.1:dead")
      ->type_name("SHARE:SPEC")
      ->needs(fleet);
  app.add_option("--targets", options.targetsFile, "Write the URLs of a fleet into this file")
      ->type_name("FILE")
      ->needs(fleet);
}

CLI::App* DeclareRecord(CLI::App& app, RecordOptions& record) {
  CLI::App* command = app.add_subcommand("record", "Turn a live Redfish service into a machine");
  command->add_option("URL", record.url, "The service, such as https://192.0.2.10")->required();
  command->add_option("DIR", record.folder, "Folder to make")->required();
  command->add_option("--user", record.user, "Name to log in with")->type_name("NAME");
  command->add_option("--password-file", record.passwordFile, "File with the password; else KELVAR_PASSWORD")
      ->type_name("FILE");
  command->footer(
      "Serial numbers, UUIDs, addresses, names and secrets are masked, each the same\n"
      "wherever it is. Certificates are not checked.\n"
      "\nExample\n"
      "  kelvar-bmcsim record --user admin https://192.0.2.10 mymachine");
  return command;
}

}  // namespace

const std::vector<std::string>& ProtocolNames() {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> made;
    for (const PortOption& port : kPorts) {
      made.emplace_back(port.protocol);
    }
    return made;
  }();
  return kNames;
}

Options ReadCommandLine(int argc, char** argv, std::optional<int>& exitCode) {
  constexpr int kUsage = 2;
  CLI::App app("Serves a modelled service processor over IPMI, Redfish and CIM on loopback.", "kelvar-bmcsim");
  Options options;
  RecordOptions record;
  app.set_version_flag("--version", "kelvar-bmcsim " KELVAR_VERSION);
  app.footer(kFooter);
  DeclareMachine(app, options);
  DeclareFleet(app, options);
  const CLI::App* command = DeclareRecord(app, record);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      exitCode = app.exit(error);
    } else {
      std::cerr << "kelvar-bmcsim: " << error.what() << "; see kelvar-bmcsim --help\n";
      exitCode = kUsage;
    }
  }
  if (command->parsed()) {
    options.record = record;
  }
  return options;
}

}  // namespace Kelvar::Simulator
