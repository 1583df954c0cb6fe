#include "module/nfw/inventory/BackendFactory.h"

#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"

namespace Kelvar {

using KelvarConnection::ConnectionInfo;

std::unique_ptr<NodeFirmwareInventoryImp> BackendFactory::MakeCIM(const ConnectionInfo& info) {
  return std::make_unique<NodeFirmwareInventoryImpCIM>(info);
}

std::unique_ptr<NodeFirmwareInventoryImp> BackendFactory::MakeRedfish(const ConnectionInfo& info) {
  return std::make_unique<NodeFirmwareInventoryImpRedfish>(info);
}

std::unique_ptr<NodeFirmwareInventoryImp> BackendFactory::MakeBackend(const ConnectionInfo& info) {
  if (info.ConnectionCase < KelvarConnection::CONNECTION_CASE_CIM_BMC) {
    return std::make_unique<NodeFirmwareInventoryImpIPMI>(info);
  }
  return info.ConnectionCase == KelvarConnection::CONNECTION_CASE_REDFISH ? MakeRedfish(info) : MakeCIM(info);
}

BackendFactory BackendFactory::For(const ConnectionInfo& info) {
  BackendFactory parts;
  parts.primaryBackend = MakeBackend(info);
  if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_REDFISH) {
    parts.logManager = std::make_unique<LogmgrRedfish>(info);
  } else if (info.ConnectionCase >= KelvarConnection::CONNECTION_CASE_CIM_BMC) {
    parts.zmcApp = std::make_unique<zmcapp>(info, false);
  }
  return parts;
}

BackendFactory BackendFactory::For(const ConnectionInfo& cimInfo, const ConnectionInfo& redfishInfo) {
  BackendFactory parts;
  parts.secondaryBackend = MakeCIM(cimInfo);
  parts.primaryBackend = MakeRedfish(redfishInfo);
  return parts;
}

void BackendFactory::MoveInto(NodeFirmwareInventory& facade) && {
  facade.primaryBackend = std::move(primaryBackend);
  facade.secondaryBackend = std::move(secondaryBackend);
  facade.zmcApp = std::move(zmcApp);
  facade.logManager = std::move(logManager);
}

std::unique_ptr<NodeFirmwareInventory> BackendFactory::MakeFacade(BackendFactory parts) {
  std::unique_ptr<NodeFirmwareInventory> facade(new NodeFirmwareInventory());
  std::move(parts).MoveInto(*facade);
  return facade;
}

}  // namespace Kelvar
