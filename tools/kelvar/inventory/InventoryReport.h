#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <kelvar/Diagnostics.h>
#include <kelvar/Inventory.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool {

/// All that was read from one target into the model.
struct InventoryReport {
  std::string target;    ///< its address
  std::string protocol;  ///< "redfish", "cim", "ipmi"; empty when the address was not understood
  std::chrono::system_clock::time_point start{};
  double seconds = 0;  ///< that the reading took
  ExitCode code = ExitCode::Complete;
  FailureCause cause = FailureCause::None;
  std::string error;                    ///< why nothing could be read, or why the reading ended early
  std::vector<Model::Family> families;  ///< those that were asked for, in the model's order
  bool all_families = false;            ///< nothing was asked for by name: what is absent is not missing
  Model::Inventory inventory;
  Model::Verdict verdict;
  DiagnosticTls tls;  ///< of its connections; no version: none was over TLS
  Diagnostics diagnostics;

  /// Whether any family was read, if only in part.
  bool Delivered() const;
};

/// The exit code of a family alone. What a target does not have counts only where it was asked for by name.
ExitCode ExitCodeOf(const Model::FamilyResult& result, bool askedByName);

/// The same without its diagnostics.
InventoryReport Excerpt(const InventoryReport& report);

/// Why a family was not read as a whole, for people.
std::string ReasonOf(const Model::FamilyResult& result);

/// The first reason in a report for not being complete; empty when it is complete.
std::string ReasonOf(const InventoryReport& report);

/// The cause that an exit code stands for.
FailureCause CauseOf(ExitCode code);

/// Fills in `code` and `verdict` from the inventory.
void Conclude(InventoryReport& report);

}  // namespace Kelvar::Tool
