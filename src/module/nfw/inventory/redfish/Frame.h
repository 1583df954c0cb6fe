#pragma once

#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "module/nfw/inventory/OperationFrame.h"
#include "module/nfw/inventory/redfish/RedfishService.h"

namespace Kelvar {

/// The frame around an operation of the Redfish backend. Whatever the body lets out is logged and gives
/// INVENTORY_REST_FAILED.
NodeFirmwareInventory::INVENTORYRETURNCODE RunRedfishOperation(
    const char* operation, OperationBody body,
    NodeFirmwareInventory::INVENTORYRETURNCODE initial = NodeFirmwareInventory::INVENTORY_FAILED);

}  // namespace Kelvar
