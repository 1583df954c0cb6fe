#pragma once

#include <cstddef>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulator/fleet/FleetPlan.h"
#include "simulator/record/Recorder.h"

namespace Kelvar::Simulator {

/// What the command line asks for.
struct Options {
  std::string machine = "full";
  std::string library;
  std::vector<std::string> faults;
  std::vector<std::string> serve;
  std::string cimFlavour;
  std::optional<std::size_t> logEntries;
  std::optional<std::size_t> sensors;
  std::map<std::string, unsigned short> ports;
  unsigned latencyMs = 0;
  std::optional<std::size_t> sessionLimit;
  std::optional<unsigned> sessionTimeout;
  std::optional<std::size_t> sessionRequests;
  bool untilEof = false;

  std::size_t fleet = 0;
  std::vector<std::string> fleetFaults;
  std::string targetsFile;

  /// Set when the command is "record".
  std::optional<RecordOptions> record;
};

/// Names of what can be served, in the order of the help.
const std::vector<std::string>& ProtocolNames();

/// Reads the command line. When it is not to be followed, because it only asks for help or is wrong, that has been said
/// and `exitCode` is set.
Options ReadCommandLine(int argc, char** argv, std::optional<int>& exitCode);

}  // namespace Kelvar::Simulator
