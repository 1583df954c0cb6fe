#pragma once

#include <cstddef>
#include <string>

namespace Kelvar::Simulator {

struct RecordOptions {
  /// "https://HOST[:PORT]" of a Redfish service.
  std::string url;
  /// Is made; must not hold anything yet.
  std::string folder;
  std::string user;
  /// Holds the password; without one KELVAR_PASSWORD of the environment does.
  std::string passwordFile;
  std::size_t mostPages = 10'000;
};

/// Turns a live Redfish service into the folder of a machine, with what tells its identity masked, and gives a line
/// that tells what was recorded, masked and left out. Follows links from the service root within bounds; what the
/// service sends can neither name a file outside of the folder nor make it grow beyond them. Throws std::runtime_error
/// with a text for people.
std::string Record(const RecordOptions& options);

}  // namespace Kelvar::Simulator
