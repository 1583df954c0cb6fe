#include <kelvar/NodeFirmwareInventoryImp.h>

#include "common/text/Secret.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

NodeFirmwareInventoryImp::NodeFirmwareInventoryImp(const KelvarConnection::ConnectionInfo& connection)
    : info(connection) {}

NodeFirmwareInventoryImp::~NodeFirmwareInventoryImp() {
  Text::WipeText(info.Password);
}

Code NodeFirmwareInventoryImp::GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& /*system*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::IPMIReadVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& /*vpd*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetNodeFirmwareSystemVPDViaFRU(KelvarNfw::NODEFIRMWARESYSTEMVPD& /*vpd*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& /*list*/,
                                                    int /*selector*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

Code NodeFirmwareInventoryImp::GetSystemBoardVPD(SystemBoardVPD& /*board*/) {
  return NodeFirmwareInventory::INVENTORY_NOT_IMPLEMENTED;
}

}  // namespace Kelvar
