#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/kelvar/fleet/Difference.h"
#include "tools/kelvar/fleet/StoredReport.h"

namespace Kelvar::Tool {

/// The firmware that machines should have. Any thread.
class Baseline {
 public:
  struct Rule {
    std::string machine = "*";
    std::string host = "*";
    std::vector<std::pair<std::string, std::vector<std::string>>> fields;  ///< and their allowed patterns
  };

  /// Reads a file of rules, TOML or (".json") JSON:
  ///   [[rule]]
  ///   machine = "7K40*"        # shell pattern of the product, model or machine type; any when absent
  ///   host = "10.0.*"          # shell pattern of the host; any when absent
  ///   firmware.uEFIBuildID = "TBE207M*"             # shell pattern
  ///   firmware.BMCBuildID = ["TBC128K*", "TBC129*"]  # any of them
  /// Of several rules that fit a machine and name a field the first decides. Throws ToolError (usage).
  explicit Baseline(const std::string& file);

  /// The words that have to be read.
  static std::vector<std::string> Words() { return {"system", "firmware"}; }

  std::vector<Difference> Check(const StoredReport& report) const;

 private:
  std::vector<Rule> rules_;
};

}  // namespace Kelvar::Tool
