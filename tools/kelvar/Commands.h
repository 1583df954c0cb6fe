#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/NodeFirmwareInventory.h>

#include "tools/kelvar/Records.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// What one operation gave.
struct Outcome {
  NodeFirmwareInventory::INVENTORYRETURNCODE result = NodeFirmwareInventory::INVENTORY_FAILED;
  std::vector<Record> records;
  bool wholeOrNothing = false;  ///< a success leaves no gap

  bool Delivered() const;
};

/// What an operation works on.
struct Session {
  NodeFirmwareInventory& inventory;
  const KelvarConnection::ConnectionInfo& info;
  bool commonEventId;  ///< CIM: the event log with common event IDs
};

using Operation = Outcome (*)(const Session& session);

enum class Layout { Sheet, Columns };  ///< of a table: a line a field, or a line a record

/// One word of the command line. An operation that a protocol lacks is null.
struct Command {
  const char* name;
  const char* help;
  Layout layout;
  Operation ipmi;
  Operation redfish;
  Operation cim;
  bool someMachinesOnly = false;  ///< a failure without data can mean that the machine is none of those

  Operation For(Protocol protocol) const;
};

std::span<const Command> Commands();

/// Throws ToolError: usage for an unknown word, unsupported for one that the protocol lacks.
const Command& CommandNamed(std::string_view name, Protocol protocol);

}  // namespace Kelvar::Tool
