#pragma once

#include <string>

#include <kelvar/InventoryRecords.h>
#include <kelvar/NodeFirmwareInventory.h>

#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar {

/// Firmware of an AMD platform, through the OEM commands of its BMC. Sends them to whatever answers; lets the
/// transport's exceptions pass.
class nodefirmwareinventoryOnAMD {
 public:
  using INVENTORYRETURNCODE = NodeFirmwareInventory::INVENTORYRETURNCODE;

  /// INVENTORY_SUCCESS, or INVENTORY_FAILED with the record untouched.
  INVENTORYRETURNCODE GetBMCSoftwareIdentity(IpmiClientInterface& client, KelvarOptions::SoftwareIdentity_& identity);
  INVENTORYRETURNCODE GetUEFISoftwareIdentity(IpmiClientInterface& client, KelvarOptions::SoftwareIdentity_& identity);

  /// INVENTORY_SUCCESS; INVENTORY_FAILED for a failed command, INVENTORY_IPMI_PARAMETER_OUT_OF_RANGE for a reply that
  /// is too short.
  INVENTORYRETURNCODE GetBMCVersion(IpmiClientInterface& client, std::string& version);
  INVENTORYRETURNCODE GetBMCBuildID(IpmiClientInterface& client, std::string& buildId);
  INVENTORYRETURNCODE GetUEFIBuildInfo(IpmiClientInterface& client, std::string& version, std::string& buildId);
};

}  // namespace Kelvar
