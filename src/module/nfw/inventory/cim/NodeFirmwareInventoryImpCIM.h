#pragma once

#include <memory>
#include <string>
#include <vector>

#include <kelvar/NodeFirmwareInventoryImp.h>

#include "module/nfw/inventory/OperationFrame.h"
#include "module/nfw/inventory/cim/cimfunc.h"

namespace Kelvar {

/// The exception clauses of CIM operations, with their lines at a log level.
template <u32 Level>
void CIMClauses(const char* operation, NodeFirmwareInventory::INVENTORYRETURNCODE& code);

/// Reads inventory from the CIM server of a service processor or of an ESXi host. Each operation enumerates the
/// instances of one or two classes and walks them.
class NodeFirmwareInventoryImpCIM : public NodeFirmwareInventoryImp {
 public:
  /// Connects, with the tries and pauses of CIMConnection. A failed connect does not fail construction: each operation
  /// tries again. Exceptions of other libraries pass through.
  explicit NodeFirmwareInventoryImpCIM(const KelvarConnection::ConnectionInfo& connectionInfo, CIMPause pause = {});
  ~NodeFirmwareInventoryImpCIM() override;

  int GetConnectStatus() override;
  INVENTORYRETURNCODE GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system) override;
  INVENTORYRETURNCODE GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) override;
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) override;
  INVENTORYRETURNCODE GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) override;
  INVENTORYRETURNCODE GetZMCGenerationType(ZMCGENERATIONTYPE& generation) override;
  INVENTORYRETURNCODE GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& list) override;
  using NodeFirmwareInventoryImp::GetZMCMessageLogData;
  INVENTORYRETURNCODE GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list, int selector) override;
  INVENTORYRETURNCODE GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& list) override;
  INVENTORYRETURNCODE GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& list) override;
  INVENTORYRETURNCODE GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& list) override;
  INVENTORYRETURNCODE GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>& list) override;
  INVENTORYRETURNCODE GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& list) override;
  INVENTORYRETURNCODE GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) override;

  std::string GetStrNamespace() const;
  /// Machine type and serial number of an ESXi host; the record is not cleared.
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPDESXi(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);

 private:
  using Code = INVENTORYRETURNCODE;
  using Instances = Pegasus::Array<Pegasus::CIMInstance>;

  /// The frame of all operations: traces, a client (one reconnect when there is none), the body, the clauses.
  Code Run(const char* operation, OperationBody body, ExceptionClauses clauses = CIMClauses<2>,
           Code initial = NodeFirmwareInventory::INVENTORY_FAILED);

  /// The usual body: gives every instance of the class to `take`; 7 when there is none, 0 after the last one.
  Code Walk(const char* operation, const char* className, FunctionRef<void(const Pegasus::CIMInstance& instance)> take,
            Code initial = NodeFirmwareInventory::INVENTORY_FAILED);

  Instances Enumerate(const char* className) { return Enumerate(className, GetStrNamespace()); }
  Instances Enumerate(const char* className, const std::string& nameSpace);
  void LogNoInstance(const char* className) const;

  bool EnumerateChassis(Instances& chassis, Code& code);

  std::unique_ptr<CIMConnection> connection_;
};

}  // namespace Kelvar
