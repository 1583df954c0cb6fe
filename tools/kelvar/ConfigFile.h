#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// Where a password comes from. At most one is set.
struct PasswordSource {
  std::string file;     ///< its first line
  std::string command;  ///< the first line that it prints, run by the shell
  std::optional<std::string> text;

  bool Given() const { return !file.empty() || !command.empty() || text.has_value(); }
};

/// What the configuration file says.
struct Config {
  /// One account and the targets that it is for.
  struct Account {
    std::string host;      ///< pattern of the shell ("10.0.*", "*-bmc"); empty: any
    std::string protocol;  ///< "ipmi", "redfish" or "cim"; empty: any
    std::string user;
    PasswordSource password;
    std::string bmcKeyFile;                                     ///< file with the BMC key (K_G) of IPMI 2.0
    std::optional<ConnectionOptions::IpmiSession> ipmiSession;  ///< IPMI 2.0 without
  };

  /// How "kelvar serve" answers.
  struct Serve {
    std::string listen = "127.0.0.1:9764";
    std::vector<std::string> targets;  ///< patterns of the addresses that may be read
    std::string targetsFile;           ///< list of addresses that may be read too
    std::string webConfig;             ///< file for TLS and users of the listener
    unsigned maxInFlight = 64;         ///< readings at a time
    unsigned timeoutSeconds = 60;      ///< longest reading; a scrape's own time-out can only shorten it
  };

  /// What a probe of "kelvar serve" reads when it asks for this name.
  struct Module {
    std::string name;
    std::vector<std::string> what;  ///< empty: everything that the target offers
    unsigned maxAgeSeconds = 0;     ///< of data that are served without a reading; 0: each probe reads
  };

  std::vector<Account> accounts;
  Serve serve;
  std::vector<Module> modules;

  /// The first account that fits a target, or null.
  const Account* AccountFor(const Target& target) const;
};

/// Reads a TOML file. Throws ToolError (usage) when it cannot be read or says what it must not, and when others than
/// its owner may read or change it, since it can hold passwords.
Config ReadConfig(const std::string& file);

/// $XDG_CONFIG_HOME/kelvar/config.toml, or ~/.config/kelvar/config.toml, when that file exists; else empty.
std::string DefaultConfigFile();

/// $XDG_CACHE_HOME/kelvar, or ~/.cache/kelvar, whether it exists or not; empty when neither variable is set.
std::string DefaultCacheFolder();

}  // namespace Kelvar::Tool
