#include "tools/kelvar/serve/Prober.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "tools/kelvar/Commands.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Output.h"

namespace Kelvar::Tool::Serve {

namespace {

constexpr auto restAfterRefusal = std::chrono::minutes(5);
constexpr std::size_t rememberedRefusals = 10'000;
constexpr std::size_t longestAddress = 512;
constexpr const char* defaultModule = "default";

const Command* CommandOf(const std::string& word) {
  const auto all = Commands();
  const auto found = std::find_if(all.begin(), all.end(), [&word](const Command& one) { return word == one.name; });
  return found == all.end() ? nullptr : &*found;
}

std::map<std::string, Config::Module> ModulesOf(const Config& config) {
  std::map<std::string, Config::Module> modules;
  for (const Config::Module& module : config.modules) {
    for (const std::string& word : module.what) {
      if (CommandOf(word) == nullptr) {
        throw ToolError(ExitCode::Usage, "module \"" + module.name + "\": nothing is called \"" + word + "\"");
      }
    }
    if (!modules.emplace(module.name, module).second) {
      throw ToolError(ExitCode::Usage, "module \"" + module.name + "\" is there twice");
    }
  }
  // Logs are left out: reading them whole costs a service processor more than a scrape should.
  modules.insert({defaultModule, {defaultModule, {"firmware", "identity", "system", "components", "sensors", "leds"}}});
  return modules;
}

/// Without the words that the protocol lacks.
Config::Module Fitting(const Config::Module& module, Protocol protocol) {
  Config::Module fitting{module.name, {}};
  for (const std::string& word : module.what) {
    if (CommandOf(word)->For(protocol) != nullptr) {
      fitting.what.push_back(word);
    }
  }
  if (fitting.what.empty() && !module.what.empty()) {
    throw Refusal(400, "module " + module.name + " has nothing that can be read over " + NameOf(protocol));
  }
  return fitting;
}

Target TargetOf(const std::string& address) {
  const bool odd =
      std::any_of(address.begin(), address.end(), [](char character) { return character <= ' ' || character > '~'; });
  if (address.empty() || address.size() > longestAddress || odd) {
    throw Refusal(400, "wanted is /probe?target=SCHEME://HOST[:PORT][&module=NAME]");
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
  report.error = why;
  return report;
}

/// The first reason that there is.
std::string WhyOf(const Report& report) {
  std::string why = report.error;
  for (const Report::Entry& entry : report.entries) {
    why = why.empty() ? entry.why : why;
  }
  return why.empty() ? DescriptionOf(report.code) : why;
}

}  // namespace

Prober::Prober(const Config& config, LogWatch& log, bool verbose)
    : modules_(ModulesOf(config)), filter_(config.serve.targets), log_(log), verbose_(verbose), credentials_(config) {}

Probe Prober::ProbeOf(const std::string& address, const std::string& module) const {
  Target target = TargetOf(address);
  if (!filter_.Allows(target)) {
    throw Refusal(403, "the configuration does not allow this target (serve.targets)");
  }
  const auto known = modules_.find(module.empty() ? defaultModule : module);
  if (known == modules_.end()) {
    throw Refusal(400, "the configuration has no such module");
  }
  const Protocol protocol = target.protocol;
  return {std::move(target), Fitting(known->second, protocol)};
}

Report Prober::Read(const Probe& probe, const Progress& progress) {
  Report report;
  try {
    report = ReadWithAccount(probe, progress);
  } catch (const ToolError& error) {
    report = Failed(probe, error.Code(), error.what());
  } catch (const std::exception& error) {
    report = Failed(probe, ExitCode::Internal, error.what());
  }
  if (verbose_ && report.code != ExitCode::Complete) {
    Complain(report.target + ": " + NameOf(report.code) + ": " + WhyOf(report));
  }
  return report;
}

Report Prober::ReadWithAccount(const Probe& probe, const Progress& progress) {
  const std::string key = Probe{probe.target, {}}.Key();
  if (LeftAlone(key)) {
    return Failed(probe, ExitCode::LoginRefused, "left alone for a while after a refused login");
  }
  Target target = probe.target;
  {
    const std::lock_guard lock(mutex_);
    credentials_.Fill(target);
  }
  bool letIn = false;
  Report report = ReadTarget(target, {}, {probe.module.what, false}, log_, [&](const Report::Entry& entry) {
    letIn = letIn || entry.code != ExitCode::LoginRefused;
    return progress(entry) && letIn;
  });
  if (report.code == ExitCode::LoginRefused) {
    LeaveAlone(key);
  }
  return report;
}

bool Prober::LeftAlone(const std::string& target) {
  const std::lock_guard lock(mutex_);
  const auto known = refused_.find(target);
  if (known == refused_.end()) {
    return false;
  }
  if (Clock::now() - known->second < restAfterRefusal) {
    return true;
  }
  refused_.erase(known);
  return false;
}

void Prober::LeaveAlone(const std::string& target) {
  const std::lock_guard lock(mutex_);
  if (refused_.size() >= rememberedRefusals) {
    refused_.erase(refused_.begin());
  }
  refused_[target] = Clock::now();
}

}  // namespace Kelvar::Tool::Serve
