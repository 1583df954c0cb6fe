#include "tools/kelvar/serve/Prober.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/HostAddress.h"
#include "tools/kelvar/Output.h"
#include "tools/kelvar/inventory/InventoryReading.h"

namespace Kelvar::Tool::Serve {

namespace {

// With these a hostile target makes a reading grow by less than 64 MiB.
constexpr u64 kResponseBytes = u64{8} << 20;
constexpr u32 kRecords = 10'000;
constexpr std::size_t longestAddress = 512;
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

Target TargetOf(const std::string& address) {
  const bool odd =
      std::any_of(address.begin(), address.end(), [](char character) { return character <= ' ' || character > '~'; });
  if (address.empty() || address.size() > longestAddress || odd) {
    throw Refusal(400, "expected /probe?target=SCHEME://HOST[:PORT][&module=NAME]");
  }
  if (address.find('@') != std::string::npos) {
    throw Refusal(400, "accounts come from the configuration alone, not from the target's address");
  }
  try {
    return ParseTarget(address);
  } catch (const ToolError& error) {
    throw Refusal(400, error.what());
  }
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

/// The target's account at each of its addresses.
LoginGate::Places PlacesOf(const Target& target) {
  LoginGate::Places places;
  for (const std::string& address : AddressesOf(target.info.Host)) {
    places.push_back(fmt::format("{}\n{}\n{}", target.info.UserName, address, target.info.Port));
  }
  return places;
}

/// A target that answers nothing must leave readers for others.
std::size_t MostOfOneTarget(std::size_t maxInFlight) {
  constexpr std::size_t kLeast = 2;
  constexpr std::size_t kShare = 8;
  return std::max(kLeast, maxInFlight / kShare);
}

}  // namespace

Prober::Prober(const Config& config, bool verbose)
    : modules_(ModulesOf(config)),
      filter_(config.serve.targets),
      verbose_(verbose),
      timeoutSeconds_(config.serve.timeoutSeconds),
      gate_(MostOfOneTarget(config.serve.maxInFlight)),
      credentials_(config) {}

Probe Prober::ProbeOf(const std::string& address, const std::string& module) const {
  Target target = TargetOf(address);
  if (!filter_.Allows(target)) {
    throw Refusal(403, "the configuration does not allow this target (serve.targets)");
  }
  const auto known = modules_.find(module.empty() ? kDefaultModule : module);
  if (known == modules_.end()) {
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
  if (verbose_ && report.code != ExitCode::Complete) {
    Complain(report.target + ": " + NameOf(report.code) + ": " + ReasonOf(report));
  }
  return report;
}

Report Prober::ReadWithAccount(const Probe& probe) {
  constexpr double kThousand = 1000;
  constexpr double kShare = 0.9;  // what is left is for printing, and for a session's end
  ReadOptions options{.what = probe.module.what};
  options.reader.deadline_seconds = kShare * static_cast<double>(probe.time.count()) / kThousand;
  options.reader.connection.response_limit_bytes = kResponseBytes;
  options.reader.connection.record_limit = kRecords;
  options.reader.connection.operation_limit_seconds = timeoutSeconds_;
  Target target = probe.target;
  {
    const std::lock_guard lock(mutex_);
    credentials_.Fill(target);
  }
  if (!target.NeedsPassword()) {
    return ReadTarget(target, {}, options);
  }
  LoginGate::Visit visit(gate_, PlacesOf(target));
  if (!visit.Refusal().empty()) {
    return Failed(probe, visit.WasRefused() ? ExitCode::LoginRefused : ExitCode::Unreachable, visit.Refusal());
  }
  Report report = ReadTarget(target, {}, options);
  if (report.loginRefused) {
    visit.Refuse();
  } else if (report.Delivered()) {
    visit.LetIn();
  }
  return report;
}

}  // namespace Kelvar::Tool::Serve
