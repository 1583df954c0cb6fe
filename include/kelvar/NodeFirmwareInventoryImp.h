#pragma once

#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/Export.h>
#include <kelvar/InventoryRecords.h>
#include <kelvar/NodeFirmwareInventory.h>

namespace Kelvar {

/// What every backend offers: one virtual operation for each inventory operation. An operation that a backend does not
/// override gives INVENTORY_NOT_IMPLEMENTED and leaves its argument alone. One object serves one thread at a time.
class KELVAR_EXPORT NodeFirmwareInventoryImp {
 public:
  /// The facade's.
  using INVENTORYRETURNCODE = NodeFirmwareInventory::INVENTORYRETURNCODE;
  /// The facade's.
  using ZMCGENERATIONTYPE = NodeFirmwareInventory::ZMCGENERATIONTYPE;

  /// Keeps a copy of `info`; makes no request.
  explicit NodeFirmwareInventoryImp(const KelvarConnection::ConnectionInfo& info);
  virtual ~NodeFirmwareInventoryImp();
  NodeFirmwareInventoryImp(const NodeFirmwareInventoryImp&) = delete;
  NodeFirmwareInventoryImp& operator=(const NodeFirmwareInventoryImp&) = delete;

  /// 0 when the transport object exists, else -1.
  virtual int GetConnectStatus() = 0;

  /// As the operation of the same name of NodeFirmwareInventory, for the protocol of the backend.
  ///@{
  virtual INVENTORYRETURNCODE GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system);
  virtual INVENTORYRETURNCODE GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) = 0;
  virtual INVENTORYRETURNCODE GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) = 0;
  /// IPMI: machine type and serial number from the VPD store; part of GetNodeFirmwareSystemVPD.
  virtual INVENTORYRETURNCODE IPMIReadVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);
  /// IPMI: machine type and serial number from the FRU data; part of GetNodeFirmwareSystemVPD.
  virtual INVENTORYRETURNCODE GetNodeFirmwareSystemVPDViaFRU(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);
  virtual INVENTORYRETURNCODE GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) = 0;
  virtual INVENTORYRETURNCODE GetZMCGenerationType(ZMCGENERATIONTYPE& generation) = 0;
  virtual INVENTORYRETURNCODE GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& list);
  /// The event log over Redfish.
  virtual INVENTORYRETURNCODE GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);
  /// The event log over CIM. With `selector` 3 the event ID is the common event ID.
  virtual INVENTORYRETURNCODE GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list, int selector);
  virtual INVENTORYRETURNCODE GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& list);
  virtual INVENTORYRETURNCODE GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& list);
  virtual INVENTORYRETURNCODE GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& list);
  virtual INVENTORYRETURNCODE GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>& list);
  virtual INVENTORYRETURNCODE GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& list);
  /// The system board. Redfish only.
  virtual INVENTORYRETURNCODE GetSystemBoardVPD(SystemBoardVPD& board);
  virtual INVENTORYRETURNCODE GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) = 0;
  ///@}

 protected:
  /// How the target is reached.
  KelvarConnection::ConnectionInfo info;
};

}  // namespace Kelvar
