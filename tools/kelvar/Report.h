#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <kelvar/Diagnostics.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Operations.h"
#include "tools/kelvar/Target.h"
#include "tools/kelvar/inventory/InventoryReport.h"

namespace Kelvar::Tool {

/// What one operation gave.
struct OperationResult {
  const Operation* operation;
  NodeFirmwareInventory::INVENTORYRETURNCODE returned = NodeFirmwareInventory::INVENTORY_SUCCESS;
  std::vector<Record> records = {};                ///< those that hold a fact
  ExitCode code = ExitCode::Complete;              ///< of this operation alone
  std::string note = {};                           ///< what is missing, for people; empty when complete
  std::string why = {};                            ///< the reason in more detail; empty when complete or unknown
  std::vector<DiagnosticExchange> exchanges = {};  ///< requests and what came back

  bool Delivered() const { return code == ExitCode::Complete || code == ExitCode::Partial; }
};

/// All that was read from one target: an inventory, or the results of the library's fixed operations.
struct Report {
  std::string target;       ///< its address
  bool operations = false;  ///< fixed operations were asked for
  Protocol protocol = Protocol::Ipmi;
  std::chrono::system_clock::time_point start{};
  double seconds = 0;  ///< from the first step to the last
  ExitCode code = ExitCode::Complete;
  ExitCode connection = ExitCode::Complete;    ///< why the service was never reached; Complete when it was
  DiagnosticTls tls;                           ///< as in InventoryReport
  bool loginRefused = false;                   ///< the account itself was refused, not just one resource
  std::string error;                           ///< why nothing, or nothing more, could be read
  std::vector<DiagnosticExchange> connecting;  ///< exchanges before the first operation
  std::vector<OperationResult> results;
  std::shared_ptr<const InventoryReport> inventory;  ///< null when there is none, whatever was asked for

  bool Delivered() const;
};

/// The inventory of a report; where nothing was read, one without records that says why.
std::shared_ptr<const InventoryReport> InventoryOf(const Report& report);

/// Whether a sensor's thresholds are in the unit of its reading. Over CIM, and for a manufacturer's own sensors over
/// Redfish (which have a caption), the unit modifier is applied to the reading alone.
bool ThresholdsAreScaled(const Record& sensor, Protocol protocol);

/// How the connections were secured, for people; empty when none was over TLS.
std::string TextOf(const DiagnosticTls& tls);

/// The note and the reason in one phrase.
std::string ReasonOf(const OperationResult& result);

/// The first reason in a report for not being complete; empty when it is complete.
std::string ReasonOf(const Report& report);

}  // namespace Kelvar::Tool
