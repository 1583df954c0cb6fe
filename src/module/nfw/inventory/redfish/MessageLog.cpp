#include "module/nfw/inventory/redfish/Frame.h"
#include "module/nfw/inventory/redfish/RedfishLog.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

Code NodeFirmwareInventoryImpRedfish::GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return RunRedfishOperation(Frame(), "GetZMCMessageLogData", [&](Code& code) {
    list.clear();
    code = ReadRedfishLog(Service(), {.name = "StandardLog", .argumentsRequired = true}, list);
  });
}

}  // namespace Kelvar
