#pragma once

#include <memory>

#include <kelvar/NodeFirmwareInventory.h>
#include <kelvar/NodeFirmwareInventoryImp.h>

#include "module/logmgr_redfish/LogmgrRedfish.h"
#include "module/zmcapp/zmcapp.h"

namespace Kelvar {

/// The objects that a facade forwards to, and how they are made from a connection record.
struct NodeFirmwareInventoryParts {
  std::unique_ptr<NodeFirmwareInventoryImp> primaryBackend;
  std::unique_ptr<NodeFirmwareInventoryImp> secondaryBackend;
  std::unique_ptr<zmcapp> zmcApp;
  std::unique_ptr<LogmgrRedfish> logManager;

  /// The primary backend that `ConnectionCase` asks for; null for one that this build lacks.
  static std::unique_ptr<NodeFirmwareInventoryImp> MakeBackend(const KelvarConnection::ConnectionInfo& info);
  static std::unique_ptr<NodeFirmwareInventoryImp> MakeCIM(const KelvarConnection::ConnectionInfo& info);
  static std::unique_ptr<NodeFirmwareInventoryImp> MakeRedfish(const KelvarConnection::ConnectionInfo& info);

  static NodeFirmwareInventoryParts For(const KelvarConnection::ConnectionInfo& info);
  static NodeFirmwareInventoryParts For(const KelvarConnection::ConnectionInfo& cimInfo,
                                        const KelvarConnection::ConnectionInfo& redfishInfo);

  /// Hands the objects to a facade.
  void MoveInto(NodeFirmwareInventory& facade) &&;

  /// A facade around the given objects, for tests that script a backend.
  static std::unique_ptr<NodeFirmwareInventory> MakeFacade(NodeFirmwareInventoryParts parts);
};

}  // namespace Kelvar
