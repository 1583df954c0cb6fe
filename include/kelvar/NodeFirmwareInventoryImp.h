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
  using INVENTORYRETURNCODE = NodeFirmwareInventory::INVENTORYRETURNCODE;
  using ZMCGENERATIONTYPE = NodeFirmwareInventory::ZMCGENERATIONTYPE;

  explicit NodeFirmwareInventoryImp(const KelvarConnection::ConnectionInfo& info);
  virtual ~NodeFirmwareInventoryImp();
  NodeFirmwareInventoryImp(const NodeFirmwareInventoryImp&) = delete;
  NodeFirmwareInventoryImp& operator=(const NodeFirmwareInventoryImp&) = delete;

  virtual int GetConnectStatus() = 0;
  virtual INVENTORYRETURNCODE GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system);
  virtual INVENTORYRETURNCODE GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) = 0;
  virtual INVENTORYRETURNCODE GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) = 0;
  virtual INVENTORYRETURNCODE IPMIReadVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);
  virtual INVENTORYRETURNCODE GetNodeFirmwareSystemVPDViaFRU(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);
  virtual INVENTORYRETURNCODE GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) = 0;
  virtual INVENTORYRETURNCODE GetZMCGenerationType(ZMCGENERATIONTYPE& generation) = 0;
  virtual INVENTORYRETURNCODE GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& list);
  virtual INVENTORYRETURNCODE GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);
  virtual INVENTORYRETURNCODE GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list, int selector);
  virtual INVENTORYRETURNCODE GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& list);
  virtual INVENTORYRETURNCODE GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& list);
  virtual INVENTORYRETURNCODE GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& list);
  virtual INVENTORYRETURNCODE GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>& list);
  virtual INVENTORYRETURNCODE GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& list);
  virtual INVENTORYRETURNCODE GetSystemBoardVPD(SystemBoardVPD& board);
  virtual INVENTORYRETURNCODE GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) = 0;

 protected:
  KelvarConnection::ConnectionInfo info;
};

}  // namespace Kelvar
