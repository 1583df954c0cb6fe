#pragma once

#include <memory>

#include <kelvar/NodeFirmwareInventory.h>
#include <kelvar/NodeFirmwareInventoryImp.h>

#include "module/nfw/inventory/cim/zmcapp.h"
#include "module/nfw/inventory/redfish/LogmgrRedfish.h"

namespace Kelvar {

/// The objects that a facade forwards to, and how they are made from a connection record.
struct BackendFactory {
  std::unique_ptr<NodeFirmwareInventoryImp> primaryBackend;
  std::unique_ptr<NodeFirmwareInventoryImp> secondaryBackend;
  std::unique_ptr<zmcapp> zmcApp;
  std::unique_ptr<LogmgrRedfish> logManager;

  /// The primary backend that `ConnectionCase` asks for; null for one that this build lacks.
  static std::unique_ptr<NodeFirmwareInventoryImp> MakeBackend(const KelvarConnection::ConnectionInfo& info);
  static std::unique_ptr<NodeFirmwareInventoryImp> MakeCIM(const KelvarConnection::ConnectionInfo& info);
  static std::unique_ptr<NodeFirmwareInventoryImp> MakeRedfish(const KelvarConnection::ConnectionInfo& info);

  static BackendFactory For(const KelvarConnection::ConnectionInfo& info);
  static BackendFactory For(const KelvarConnection::ConnectionInfo& cimInfo,
                            const KelvarConnection::ConnectionInfo& redfishInfo);

  /// Hands the objects to a facade.
  void MoveInto(NodeFirmwareInventory& facade) &&;

  /// A facade around the given objects.
  static std::unique_ptr<NodeFirmwareInventory> MakeFacade(BackendFactory parts);
};

}  // namespace Kelvar
