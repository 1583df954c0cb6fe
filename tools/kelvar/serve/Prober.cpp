#include "tools/kelvar/serve/Prober.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/inventory/InventoryReading.h"
#include "tools/kelvar/serve/TargetFilter.h"

namespace Kelvar::Tool::Serve {

namespace {

// With these a hostile target makes a reading grow by less than 64 MiB.
constexpr u64 kResponseBytes = u64{8} << 20;
constexpr u64 kRedfishResponseBytes = u64{2} << 20;  // several at a time, and eight times that in all
constexpr u32 kRecords = 10'000;
constexpr std::size_t kLongestAddress = 512;
constexpr const char* kDefaultModule = "default";

std::map<std::string, Config::Module> ModulesOf(const Config& config) {
  std::map<std::string, Config::Module> modules;
  for (const Config::Module& module : config.modules) {
    try {
      FamiliesOf(module.what);
    } catch (const ToolError& error) {
      throw ToolError(ExitCode::Usage, "configuration: module \"" + module.name + "\": " + error.what());
    }
    if (!modules.emplace(module.name, module).second) {
      throw ToolError(ExitCode::Usage, "module \"" + module.name + "\" is defined twice");
    }
  }
  // Logs are left out: reading them whole costs a service processor more than a scrape should.
  modules.insert({kDefaultModule, {kDefaultModule, {"system", "firmware", "components", "sensors", "leds"}}});
  return modules;
}

/// Addresses without a pattern in the configuration's list of allowed ones.
std::vector<std::string> PlainAddresses(const std::vector<std::string>& patterns, const TargetFilter& filter) {
  std::vector<std::string> plain;
  for (const std::string& pattern : patterns) {
    try {
      if (pattern.find_first_of("*?") == std::string::npos && filter.Allows(ProbedTarget(pattern))) {
        plain.push_back(pattern);
      }
    } catch (const Refusal&) {  // a pattern that is not an address
    }
  }
  return plain;
}

Report Failed(const Probe& probe, ExitCode code, const std::string& why) {
  Report report;
  report.target = probe.target.address;
  report.protocol = probe.target.protocol;
  report.code = code;
  report.connection = code;
  report.error = why;
  return report;
}

/// A target that answers nothing must leave readers for others.
std::size_t MostOfOneTarget(std::size_t maxInFlight) {
  constexpr std::size_t kLeast = 2;
  constexpr std::size_t kShare = 8;
  return std::max(kLeast, maxInFlight / kShare);
}

}  // namespace

Target ProbedTarget(const std::string& address) {
  const bool odd =
      std::any_of(address.begin(), address.end(), [](char character) { return character <= ' ' || character > '~'; });
  if (address.empty() || address.size() > kLongestAddress || odd) {
    throw Refusal(400, "expected /probe?target=SCHEME://HOST[:PORT][&module=NAME]");
  }
  if (address.find('@') != std::string::npos) {
    throw Refusal(400, "accounts come from the configuration only, not from the target's address");
  }
  try {
    return ParseTarget(address);
  } catch (const ToolError& error) {
    throw Refusal(400, error.what());
  }
}

/// What one state of the configuration says.
struct Prober::Rules {
  Rules(const Config& config, std::vector<TargetGroup> groups)
      : modules(ModulesOf(config)),
        filter(config.serve.targets),
        listed(std::move(groups)),
        timeoutSeconds(config.serve.timeoutSeconds),
        credentials(config) {
    std::vector<std::string> plain = PlainAddresses(config.serve.targets, filter);
    for (const TargetGroup& group : listed) {
      for (const std::string& address : group.targets) {
        const Target target = ProbedTarget(address);
        filter.Add(target);
        if (!filter.Allows(target)) {
          throw ToolError(ExitCode::Usage,
                          "list of targets: " + address + " has parameters that a probe may not choose");
        }
      }
    }
    if (!plain.empty()) {
      listed.push_back({std::move(plain), {}});
    }
  }

  void Fill(Target& target) {
    const std::lock_guard lock(mutex);
    credentials.Fill(target);
  }

  const std::map<std::string, Config::Module> modules;
  TargetFilter filter;
  std::vector<TargetGroup> listed;
  const u32 timeoutSeconds;  ///< nobody waits longer for an operation
  std::mutex mutex;          ///< guards what follows
  Credentials credentials;
};

Prober::Prober(const Config& config, std::vector<TargetGroup> listed, bool verbose)
    : verbose_(verbose),
      gate_(MostOfOneTarget(config.serve.maxInFlight)),
      rules_(std::make_shared<Rules>(config, std::move(listed))) {}

Prober::~Prober() = default;

void Prober::Use(const Config& config, std::vector<TargetGroup> listed) {
  auto rules = std::make_shared<Rules>(config, std::move(listed));
  const std::lock_guard lock(mutex_);
  rules_ = std::move(rules);
  readers_.Retire();  // whose accounts may be others now
}

std::shared_ptr<Prober::Rules> Prober::Current() const {
  const std::lock_guard lock(mutex_);
  return rules_;
}

std::chrono::seconds Prober::LongestReading() const {
  return std::chrono::seconds(Current()->timeoutSeconds);
}

std::vector<std::string> Prober::ModuleNames() const {
  std::vector<std::string> names;
  for (const auto& [name, module] : Current()->modules) {
    names.push_back(name);
  }
  return names;
}

std::vector<TargetGroup> Prober::Listed() const {
  return Current()->listed;
}

Probe Prober::ProbeOf(const std::string& address, const std::string& module) const {
  Target target = ProbedTarget(address);
  const auto rules = Current();
  if (!rules->filter.Allows(target)) {
    throw Refusal(403, "the configuration does not allow this target (serve.targets)");
  }
  const auto known = rules->modules.find(module.empty() ? kDefaultModule : module);
  if (known == rules->modules.end()) {
    throw Refusal(400, "the configuration has no such module");
  }
  return {std::move(target), known->second};
}

Report Prober::Read(const Probe& probe) {
  Report report;
  try {
    report = ReadWithAccount(probe);
  } catch (const ToolError& error) {
    report = Failed(probe, error.Code(), error.what());
  } catch (const std::exception& error) {
    report = Failed(probe, ExitCode::Internal, error.what());
  }
  states_.Put(probe.Key(), StateAfter(report, probe.module.name));
  if (verbose_ && report.code != ExitCode::Complete) {
    PrintError(report.target + ": " + NameOf(report.code) + ": " + ReasonOf(report));
  }
  return report;
}

Report Prober::ReadWithAccount(const Probe& probe) {
  constexpr double kThousand = 1000;
  constexpr double kShare = 0.9;  // what is left is for printing, and for a session's end
  ReadOptions options{.what = probe.module.what};
  options.reader.deadline_seconds = kShare * static_cast<double>(probe.time.count()) / kThousand;
  options.reader.connection.response_limit_bytes =
      probe.target.protocol == Protocol::Redfish ? kRedfishResponseBytes : kResponseBytes;
  options.reader.connection.record_limit = kRecords;
  const auto rules = Current();
  options.reader.connection.operation_limit_seconds = rules->timeoutSeconds;
  Target target = probe.target;
  rules->Fill(target);
  if (!target.NeedsPassword()) {
    return ReadTarget(target, {}, options);
  }
  LoginGate::Visit visit(gate_, LoginGate::PlacesOf(target));
  if (!visit.Refusal().empty()) {
    return Failed(probe, visit.WasRefused() ? ExitCode::LoginRefused : ExitCode::Unreachable, visit.Refusal());
  }
  Report report = ReadLoggedIn(target, options);
  if (report.loginRefused) {
    visit.Refuse();
  } else if (report.Delivered()) {
    visit.LetIn();
  }
  return report;
}

/// Over Redfish a session is kept for the next scrape.
Report Prober::ReadLoggedIn(const Target& target, ReadOptions options) {
  if (target.protocol != Protocol::Redfish) {
    return ReadTarget(target, {}, options);
  }
  options.reader.keep_session = true;
  const std::string key = fmt::format("{}\n{}\n{}", target.info.UserName, target.info.Host, target.info.Port);
  KeptReaders::Loan loan(
      readers_, key, [&] { return std::make_unique<InventoryReader>(target.info, ReaderOptionsFor(target, options)); });
  options.kept = &*loan;
  Report report = ReadTarget(target, {}, options);
  if (report.loginRefused) {
    loan.Drop();
  }
  return report;
}

}  // namespace Kelvar::Tool::Serve
