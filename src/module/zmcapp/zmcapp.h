#pragma once

#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/InventoryRecords.h>

namespace Kelvar {

/// Numbers with the meanings of NodeFirmwareInventory::INVENTORYRETURNCODE.
enum ZMCAPPRETURNCODE : int {
  ZMCAPP_SUCCESS = 0,
  ZMCAPP_CONNECT_FAILED = 1,
  ZMCAPP_NO_INSTANCE = 7,
  ZMCAPP_CIM_EXCEPTION = 9,
  ZMCAPP_FAILED = 15,
};

/// Audit and platform event logs over CIM.
class zmcapp {
 public:
  virtual ~zmcapp() = default;
  virtual ZMCAPPRETURNCODE GetZMCAuditEventLog(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list) = 0;
  virtual ZMCAPPRETURNCODE GetZMCPlatformEventLog(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list) = 0;
};

}  // namespace Kelvar
