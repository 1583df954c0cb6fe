#pragma once

#include <memory>
#include <string>
#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/InventoryRecords.h>

#include "module/nfw/inventory/cim/cimfunc.h"

namespace Kelvar {

/// Numbers with the meanings of NodeFirmwareInventory::INVENTORYRETURNCODE.
enum ZMCAPPRETURNCODE : int {
  ZMCAPP_SUCCESS = 0,
  ZMCAPP_CONNECT_FAILED = 1,
  ZMCAPP_NO_INSTANCE = 7,  ///< the target has no entry of this log
  ZMCAPP_CIM_EXCEPTION = 9,
  ZMCAPP_FAILED = 15,
};

/// Audit and platform event logs over CIM: the entries of CIM_LogEntry whose log name, log instance or class tells that
/// they belong to the log. Connects with the first operation. One object serves one thread at a time.
class zmcapp {
 public:
  /// Makes no request. The flag is kept for callers and says nothing.
  zmcapp(const KelvarConnection::ConnectionInfo& connectionInfo, bool flag, CIMPause connectPause = {});
  virtual ~zmcapp();
  zmcapp(const zmcapp&) = delete;
  zmcapp& operator=(const zmcapp&) = delete;

  /// The vector is emptied first; what was read before a failure stays. One request.
  virtual ZMCAPPRETURNCODE GetZMCAuditEventLog(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list);
  virtual ZMCAPPRETURNCODE GetZMCPlatformEventLog(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list);

 private:
  ZMCAPPRETURNCODE GetLog(const char* operation, const std::string& log,
                          std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list);
  ZMCAPPRETURNCODE ReadLog(const std::string& log, std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list);
  bool Connect();

  KelvarConnection::ConnectionInfo info_;
  const CIMPause pause_;
  const KeptConnectionOptions keptOptions_ = KeptConnectionOptions::Current();
  std::unique_ptr<CIMConnection> connection_;
};

}  // namespace Kelvar
