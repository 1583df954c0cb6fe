#pragma once

#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/serve/LoginGate.h"
#include "tools/kelvar/serve/ProbePool.h"
#include "tools/kelvar/serve/TargetFilter.h"

namespace Kelvar::Tool::Serve {

/// A probe that is not made, as an HTTP status and a text for people.
class Refusal : public std::runtime_error {
 public:
  Refusal(unsigned status, const std::string& text) : std::runtime_error(text), status_(status) {}
  unsigned Status() const { return status_; }

 private:
  unsigned status_;
};

/// Knows what the configuration allows, and reads it. Safe from any thread.
class Prober {
 public:
  /// Throws ToolError (usage) for patterns and modules that mean nothing. `verbose`: a line on standard error for each
  /// reading that is not complete.
  Prober(const Config& config, bool verbose);

  /// The probe of a target's address and a module's name, which may be empty. Throws Refusal. Asks nobody.
  Probe ProbeOf(const std::string& address, const std::string& module) const;

  /// Reads it, with the account that the configuration has for the target. After a refused login the account is
  /// not tried at the target's addresses for five minutes, since each further try could lock it; and only a part of all
  /// readings can be of one target, however it is spelled.
  Report Read(const Probe& probe);

 private:
  Report ReadWithAccount(const Probe& probe);

  const std::map<std::string, Config::Module> modules_;
  const TargetFilter filter_;
  const bool verbose_;
  const u32 timeoutSeconds_;  ///< nobody waits longer for an operation
  LoginGate gate_;
  std::mutex mutex_;  ///< guards what follows
  Credentials credentials_;
};

}  // namespace Kelvar::Tool::Serve
