#pragma once

#include <vector>

#include <kelvar/InventoryRecords.h>

namespace Kelvar {

/// Audit, platform, active-event and maintenance logs over Redfish.
class LogmgrRedfish {
 public:
  virtual ~LogmgrRedfish() = default;
  virtual int GetActiveEventsForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) = 0;
  virtual int GetAuditLogForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) = 0;
  virtual int GetPlatformLogForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) = 0;
  virtual int GetMaintenanceLog(std::vector<MAINTLOGREDFISHDATA>& list) = 0;
};

}  // namespace Kelvar
