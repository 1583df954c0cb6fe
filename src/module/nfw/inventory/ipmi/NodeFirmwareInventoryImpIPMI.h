#pragma once

#include <memory>
#include <vector>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/NodeFirmwareInventoryImp.h>

#include "module/nfw/inventory/OperationFrame.h"
#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar {

/// The backend that reads the inventory with IPMI commands, over the network or through the local system interface.
///
/// Connects once, in its constructor; an object that could not connect answers every operation with
/// INVENTORY_CONNECT_FAILED and never tries again. An operation ends after the time that ConnectionOptions names, with
/// what it has read by then. An IpmiException that connect() raises leaves the constructor.
class NodeFirmwareInventoryImpIPMI : public NodeFirmwareInventoryImp {
 public:
  explicit NodeFirmwareInventoryImpIPMI(const KelvarConnection::ConnectionInfo& connection);

  /// Around a given transport; null stands for one that could not be made.
  NodeFirmwareInventoryImpIPMI(const KelvarConnection::ConnectionInfo& connection,
                               std::unique_ptr<IpmiClientInterface> transport);
  ~NodeFirmwareInventoryImpIPMI() override;

  int GetConnectStatus() override;
  INVENTORYRETURNCODE GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system) override;
  INVENTORYRETURNCODE GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) override;
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) override;
  INVENTORYRETURNCODE IPMIReadVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) override;
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPDViaFRU(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) override;
  INVENTORYRETURNCODE GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) override;
  INVENTORYRETURNCODE GetZMCGenerationType(ZMCGENERATIONTYPE& generation) override;
  INVENTORYRETURNCODE GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) override;

 private:
  /// An operation under the exception clauses, which answers INVENTORY_CONNECT_FAILED without a connection.
  INVENTORYRETURNCODE Run(const char* operation, OperationBody body, ExitLine exitLine = {});
  /// An operation with neither.
  INVENTORYRETURNCODE RunUncaught(const char* operation, OperationBody body);

  INVENTORYRETURNCODE buildZMCInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);
  INVENTORYRETURNCODE buildZMCBackUpInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);
  INVENTORYRETURNCODE builduEFIInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);
  INVENTORYRETURNCODE builduEFIBackUpInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);
  INVENTORYRETURNCODE buildQDGInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);
  INVENTORYRETURNCODE buildQDGVerInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);
  INVENTORYRETURNCODE buildQDGDateInfo(KelvarNfw::NODEFIRMWAREBUILDID& record);

  const u32 limitSeconds_ = ConnectionOptionsScope::Current().operation_limit_seconds;
  std::unique_ptr<IpmiClientInterface> client_;
  bool connected_ = false;
};

}  // namespace Kelvar
