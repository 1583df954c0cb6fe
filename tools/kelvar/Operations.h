#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/NodeFirmwareInventory.h>

#include "tools/kelvar/Records.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// What one call of the library gave.
struct Outcome {
  NodeFirmwareInventory::INVENTORYRETURNCODE returned = NodeFirmwareInventory::INVENTORY_FAILED;
  std::vector<Record> records;
};

/// What an operation is called with.
struct OperationContext {
  NodeFirmwareInventory& inventory;
  const KelvarConnection::ConnectionInfo& info;
  bool commonEventId;  ///< CIM: the event log with common event IDs
};

using ReadFunction = Outcome (*)(const OperationContext& context);

/// One thing that can be read: a word of the command line. One row of the table has all that differs between them.
struct Operation {
  enum class Layout { KeyValue, Columns };  ///< of a table: a line a field, or a line a record

  /// What a result consists of.
  enum class Kind {
    Whole,    ///< one record, which is read whole or not at all
    Partial,  ///< one record, any field of which can be missing
    List,     ///< records, any of which can be missing
    Log,      ///< the same, with times and severities
  };

  const char* name;
  const char* help;
  Kind kind;
  Layout layout;
  bool lasting;           ///< what seldom changes, which runs can be compared by
  bool someMachinesOnly;  ///< a failure without data can mean that the machine is none of those

  /// Null where the protocol does not have it.
  ReadFunction For(Protocol protocol) const;
};

/// All of them, in the order of output.
std::span<const Operation> Operations();

/// Null for an unknown name.
const Operation* FindOperation(std::string_view name);

/// Throws ToolError (usage) for an unknown name; its text suggests a similar one.
const Operation& OperationNamed(std::string_view name);

/// The same; throws ToolError (unsupported) for an operation that the protocol lacks.
const Operation& OperationNamed(std::string_view name, Protocol protocol);

/// The operations that `what` names over a protocol; all that it has when `what` is empty. Throws as OperationNamed().
std::vector<const Operation*> OperationsFor(const std::vector<std::string>& what, Protocol protocol);

}  // namespace Kelvar::Tool
