#include <kelvar/NodeFirmwareInventory.h>

#include <string_view>

#include "common/log/LogMacros.h"
#include "module/nfw/inventory/BackendFactory.h"

namespace Kelvar {

using KelvarConnection::ConnectionInfo;
using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

/// The operation on its object, or `absent` when the connection has no such object.
template <typename Owner, typename Operation, typename... Arguments>
Code Forward(const Owner& owner, Operation operation, Arguments&&... arguments) {
  if (!owner) {
    return NodeFirmwareInventory::INVENTORY_SUCCESS;
  }
  return static_cast<Code>(((*owner).*operation)(std::forward<Arguments>(arguments)...));
}

using Backend = NodeFirmwareInventoryImp;

}  // namespace

NodeFirmwareInventory::NodeFirmwareInventory() = default;

NodeFirmwareInventory::NodeFirmwareInventory(const ConnectionInfo& info) {
  BackendFactory::For(info).MoveInto(*this);
  if (!primaryBackend && !zmcApp && !logManager) {
    KELVAR_LOG(1) << "In NodeFirmwareInventory(), the derived class of NodeFirmwareInventoryImp constructed failed.";
  }
}

NodeFirmwareInventory::NodeFirmwareInventory(const ConnectionInfo& cimInfo, const ConnectionInfo& redfishInfo) {
  BackendFactory::For(cimInfo, redfishInfo).MoveInto(*this);
}

NodeFirmwareInventory::~NodeFirmwareInventory() {
  primaryBackend.reset();
  zmcApp.reset();
  logManager.reset();
  secondaryBackend.reset();
}

int NodeFirmwareInventory::GetConnectStatus() {
  return primaryBackend ? primaryBackend->GetConnectStatus() : -1;
}

Code NodeFirmwareInventory::GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system) {
  return Forward(primaryBackend, &Backend::GetHardwareInfoComputerSystem, system);
}

Code NodeFirmwareInventory::GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) {
  const Code code = Forward(primaryBackend, &Backend::GetNodeFirmwareBuildID, list);
  LogFirmwareBuildID(list);
  return code;
}

Code NodeFirmwareInventory::GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) {
  return Forward(primaryBackend, &Backend::GetNodeFirmwareSystemVPD, vpd);
}

Code NodeFirmwareInventory::GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) {
  if (!secondaryBackend) {
    return primaryBackend ? primaryBackend->GetNodeOtherSystemVPD(list) : INVENTORY_FAILED;
  }
  const Code listed = secondaryBackend->GetNodeOtherSystemVPD(list);
  if (listed != INVENTORY_SUCCESS) {
    return listed;
  }
  SystemBoardVPD board;
  if (!primaryBackend || primaryBackend->GetSystemBoardVPD(board) != INVENTORY_SUCCESS) {
    return INVENTORY_SUCCESS;
  }
  for (OtherSystemVPD& component : list) {
    if (component.Name == std::string_view("system board 1")) {
      component.FruPartNumber = board.FruPartNumber;
      break;
    }
  }
  return INVENTORY_SUCCESS;
}

Code NodeFirmwareInventory::GetZMCGenerationType(ZMCGENERATIONTYPE& generation) {
  return Forward(primaryBackend, &Backend::GetZMCGenerationType, generation);
}

Code NodeFirmwareInventory::GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& list) {
  return Forward(primaryBackend, &Backend::GetZMCDNSSettingData, list);
}

Code NodeFirmwareInventory::GetZMCMessageLogDataRedfish(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  using Operation = Code (Backend::*)(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>&);
  return Forward(primaryBackend, static_cast<Operation>(&Backend::GetZMCMessageLogData), list);
}

Code NodeFirmwareInventory::GetZMCMessageLogDataCIM(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list, int selector) {
  using Operation = Code (Backend::*)(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>&, int);
  return Forward(primaryBackend, static_cast<Operation>(&Backend::GetZMCMessageLogData), list, selector);
}

Code NodeFirmwareInventory::GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& list) {
  return Forward(primaryBackend, &Backend::GetZMCIPProtocolEndPoint, list);
}

Code NodeFirmwareInventory::GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& list) {
  return Forward(primaryBackend, &Backend::GetZMCStaticIPAddress, list);
}

Code NodeFirmwareInventory::GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& list) {
  return Forward(primaryBackend, &Backend::GetZMCCommunityString, list);
}

Code NodeFirmwareInventory::GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>& list) {
  return Forward(primaryBackend, &Backend::GetZMCIndicatorLED, list);
}

Code NodeFirmwareInventory::GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& list) {
  return Forward(primaryBackend, &Backend::GetZMCNumericSensors, list);
}

Code NodeFirmwareInventory::GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) {
  return Forward(primaryBackend, &Backend::GetNFWSoftwareIdentity, list);
}

Code NodeFirmwareInventory::GetZMCAuditLogDataViaCIM(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list) {
  return Forward(zmcApp, &zmcapp::GetZMCAuditEventLog, list);
}

Code NodeFirmwareInventory::GetZMCPlatformLogDataViaCIM(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list) {
  return Forward(zmcApp, &zmcapp::GetZMCPlatformEventLog, list);
}

Code NodeFirmwareInventory::GetZMCAuditLogDataViaREST(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Forward(logManager, &LogmgrRedfish::GetAuditLogForInventory, list);
}

Code NodeFirmwareInventory::GetZMCPlatformLogDataViaREST(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Forward(logManager, &LogmgrRedfish::GetPlatformLogForInventory, list);
}

Code NodeFirmwareInventory::GetZMCActiveEventsDataViaREST(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Forward(logManager, &LogmgrRedfish::GetActiveEventsForInventory, list);
}

Code NodeFirmwareInventory::GetZMCMaintLogDataViaREST(std::vector<MAINTLOGREDFISHDATA>& list) {
  return Forward(logManager, &LogmgrRedfish::GetMaintenanceLog, list);
}

int NodeFirmwareInventory::ResetConn(const ConnectionInfo& info) {
  primaryBackend.reset();
  try {
    primaryBackend = BackendFactory::MakeBackend(info);
  } catch (...) {
    KELVAR_LOG(1) << "In NodeFirmwareInventory::ResetConn(), the new backend could not be constructed.";
  }
  return primaryBackend ? 0 : -1;
}

u16 NodeFirmwareInventory::GetCIMPort() {
  return 5988;
}

NodeFirmwareInventory::INVENTORYCIMTYPE NodeFirmwareInventory::GetCIMType() {
  return INVENTORY_CIM_TYPE_DEFAULT;
}

void NodeFirmwareInventory::SetCIMPort(u16 /*port*/) {}

void NodeFirmwareInventory::SetCIMType(const INVENTORYCIMTYPE& /*type*/) {}

void NodeFirmwareInventory::SetConnectionType(const CIMCONNECTIONTYPE& /*type*/) {}

}  // namespace Kelvar
