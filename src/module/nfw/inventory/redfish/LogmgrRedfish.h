#pragma once

#include <memory>
#include <string>
#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/InventoryRecords.h>
#include <kelvar/RestClient.h>

namespace Kelvar {

/// Audit, platform, active-event and maintenance logs over Redfish.
///
/// Each operation walks from the systems to the entries of its log; when no system has the log, from the managers. It
/// clears the list first and returns an INVENTORYRETURNCODE as a number: 0, 10, 11 or 13 with the meanings that they
/// have in the Redfish backend. Construction makes no request; one object serves one thread at a time.
class LogmgrRedfish {
 public:
  /// Throws std::runtime_error "Couldn't initialize curl handle".
  explicit LogmgrRedfish(const KelvarConnection::ConnectionInfo& info);
  virtual ~LogmgrRedfish();
  LogmgrRedfish(const LogmgrRedfish&) = delete;
  LogmgrRedfish& operator=(const LogmgrRedfish&) = delete;

  virtual int GetActiveEventsForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);
  virtual int GetAuditLogForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);
  virtual int GetPlatformLogForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);
  virtual int GetMaintenanceLog(std::vector<MAINTLOGREDFISHDATA>& list);

 private:
  template <typename Record>
  int Read(const char* operation, const char* log, std::vector<Record>& list);

  std::unique_ptr<Rest::RestClientInterface> client_;
  std::string baseUrl_;
  const u32 limitSeconds_;
};

}  // namespace Kelvar
