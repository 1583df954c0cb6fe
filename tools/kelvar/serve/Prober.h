#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/Credentials.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/serve/KeptReaders.h"
#include "tools/kelvar/serve/LastStates.h"
#include "tools/kelvar/serve/LoginGate.h"
#include "tools/kelvar/serve/ProbePool.h"
#include "tools/kelvar/serve/TargetsFile.h"

namespace Kelvar::Tool::Serve {

/// A probe that is not made, as an HTTP status and a text for people.
class Refusal : public std::runtime_error {
 public:
  Refusal(unsigned status, const std::string& text) : std::runtime_error(text), status_(status) {}
  unsigned Status() const { return status_; }

 private:
  unsigned status_;
};

/// The target of an address that a request names. Throws Refusal for one that is malformed or has an account.
Target ProbedTarget(const std::string& address);

/// Knows what the configuration allows, and reads it. Safe from any thread.
class Prober {
 public:
  /// Throws ToolError (usage) for patterns and modules that mean nothing. `listed`: targets that are allowed too.
  /// `verbose`: a line on standard error for each reading that is not complete.
  Prober(const Config& config, std::vector<TargetGroup> listed, bool verbose);
  ~Prober();
  Prober(const Prober&) = delete;
  Prober& operator=(const Prober&) = delete;

  /// Takes another configuration for what is asked from now on: allowed and listed targets, modules, accounts and the
  /// longest reading. Passwords are read anew; refused logins stay so. Throws as the constructor, and changes nothing
  /// then.
  void Use(const Config& config, std::vector<TargetGroup> listed);

  /// The probe of a target's address and a module's name, which may be empty. Throws Refusal. Asks nobody.
  Probe ProbeOf(const std::string& address, const std::string& module) const;

  /// Reads it, with the account that the configuration has for the target. After a refused login the account is
  /// not tried at the target's addresses for five minutes, since each further try could lock it; and only a part of all
  /// readings can be of one target, however it is spelled.
  Report Read(const Probe& probe);

  /// Ends all readings under way as at their deadlines, and later ones at once.
  void Cancel() { readers_.Cancel(); }
  /// After Cancel(), when no reading is under way: closes the sessions that were kept. False when some are open after
  /// `timeLimit`: the object must then live as long as the process.
  bool CloseSessions(std::chrono::milliseconds timeLimit) { return readers_.Finish(timeLimit); }

  std::chrono::seconds LongestReading() const;
  std::vector<std::string> ModuleNames() const;
  /// The targets that are listed, and those that the configuration names without a pattern.
  std::vector<TargetGroup> Listed() const;
  std::vector<LastState> States() const { return states_.All(); }

 private:
  struct Rules;

  std::shared_ptr<Rules> Current() const;
  Report ReadWithAccount(const Probe& probe);
  Report ReadLoggedIn(const Target& target, ReadOptions options);

  const bool verbose_;
  LoginGate gate_;
  LastStates states_;
  KeptReaders readers_;
  mutable std::mutex mutex_;  ///< guards what follows
  std::shared_ptr<Rules> rules_;
};

}  // namespace Kelvar::Tool::Serve
