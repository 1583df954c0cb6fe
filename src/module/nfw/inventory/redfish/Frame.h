#pragma once

#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "module/nfw/inventory/OperationFrame.h"
#include "module/nfw/inventory/redfish/RedfishService.h"

namespace Kelvar {

/// What the frame needs of its backend.
struct RedfishFrame {
  bool hasClient;
  u32 limitSeconds;
};

/// The frame around an operation of the Redfish backend. Whatever the body lets out is logged and gives
/// INVENTORY_REST_FAILED, and so does a null client.
NodeFirmwareInventory::INVENTORYRETURNCODE RunRedfishOperation(
    const RedfishFrame& frame, const char* operation, OperationBody body,
    NodeFirmwareInventory::INVENTORYRETURNCODE initial = NodeFirmwareInventory::INVENTORY_FAILED);

}  // namespace Kelvar
