#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvar::Simulator {

/// The command line asks for what there is not.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Account {
  std::string user;
  std::string password;
};

/// How many sessions a Redfish service keeps, and how long; absent is without end.
struct SessionLimits {
  std::optional<std::size_t> count;
  std::optional<std::chrono::seconds> idle;
  /// A session is forgotten after this many requests.
  std::optional<std::size_t> requests;
};

/// One modelled machine: a folder with machine.json and what each service reads from it (ipmi.json, redfish/, cim/).
/// Faults are named "protocol:name"; the data of that protocol's service say what it does.
struct Machine {
  std::filesystem::path folder;
  std::string name;
  std::string description;
  std::vector<Account> accounts;
  std::vector<std::string> faults;  ///< switched on for this run
  std::string cimFlavour;           ///< one of cim/server.json; empty for all that the machine publishes over CIM
  /// How many entries each log, and sensors each list has in this run, when not those of the machine's data.
  std::optional<std::size_t> logEntries;
  std::optional<std::size_t> sensors;
  /// In place of those of the machine's data, each by itself.
  SessionLimits sessions;
  /// Before each answer over HTTP.
  std::chrono::milliseconds latency{0};

  /// The names of the faults of one protocol, without its prefix.
  std::vector<std::string> FaultsOf(const std::string& protocol) const;

  /// Whether a login is one of the accounts.
  bool Accepts(const std::string& user, const std::string& password) const;
};

/// Turns text that all machines of a fleet share into what one of them says; empty for a machine of its own.
using SubstituteIdentity = std::function<std::string(std::string_view text)>;

/// Reads a machine. `nameOrFolder` is a folder, or the name of one below `library`. Throws UsageError when there
/// is none, std::runtime_error when its machine.json is wrong, each with a text for people.
Machine LoadMachine(const std::string& nameOrFolder, const std::filesystem::path& library);

/// One protocol of the machine, served on loopback from Start() until the object goes.
class Service {
 public:
  virtual ~Service() = default;

  /// Serves on `port`, or on a free one when it is 0, and returns the port once requests are answered. Throws
  /// std::runtime_error when it cannot.
  virtual unsigned short Start(unsigned short port) = 0;

  /// A descriptor that becomes readable when the service ends by itself; -1 for one that cannot.
  virtual int EndDescriptor() const { return -1; }
};

}  // namespace Kelvar::Simulator
