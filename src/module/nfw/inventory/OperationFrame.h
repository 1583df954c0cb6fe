#pragma once

#include <string>

#include <kelvar/NodeFirmwareInventory.h>

#include "module/nfw/inventory/FunctionRef.h"

namespace Kelvar {

/// Sorts the exception in flight into a result code and writes its log line. Called inside a catch clause; rethrows
/// the exception to tell its kind, and lets nothing out.
using ExceptionClauses = void (*)(const char* operation, NodeFirmwareInventory::INVENTORYRETURNCODE& code);

/// Makes the exit line of an operation that has one of its own.
using ExitLine = FunctionRef<std::string(NodeFirmwareInventory::INVENTORYRETURNCODE code)>;

using OperationBody = FunctionRef<void(NodeFirmwareInventory::INVENTORYRETURNCODE& code)>;

/// What all operations of a backend share: entry trace, body, exception clauses, exit trace. The body starts from
/// `initial` and sets the code when it knows better; an exception finds the code that the body held at that moment.
/// Without `clauses` exceptions pass to the caller, with them nothing gets out. Without `exitLine` the exit trace names
/// the operation and the code.
NodeFirmwareInventory::INVENTORYRETURNCODE RunOperation(
    const char* className, const char* operation, ExceptionClauses clauses, OperationBody body,
    NodeFirmwareInventory::INVENTORYRETURNCODE initial = NodeFirmwareInventory::INVENTORY_FAILED,
    ExitLine exitLine = {});

}  // namespace Kelvar
