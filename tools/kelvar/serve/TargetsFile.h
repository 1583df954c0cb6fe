#pragma once

#include <map>
#include <string>
#include <vector>

namespace Kelvar::Tool::Serve {

/// Targets that share their labels, as in the files and answers of Prometheus' service discovery.
struct TargetGroup {
  std::vector<std::string> targets;
  std::map<std::string, std::string> labels;
};

/// Reads a file as Prometheus' file_sd_configs takes it, in YAML or JSON: a list of mappings with "targets" and, as
/// needed, "labels". Throws ToolError (usage) with the line that is wrong; an address must be one that a probe can
/// name.
std::vector<TargetGroup> ReadTargetsFile(const std::string& file);

/// The groups as Prometheus' http_sd_configs takes them.
std::string DiscoveryText(const std::vector<TargetGroup>& groups);

}  // namespace Kelvar::Tool::Serve
