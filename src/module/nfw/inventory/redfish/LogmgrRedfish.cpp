#include "module/nfw/inventory/redfish/LogmgrRedfish.h"

#include <kelvar/ConnectionOptions.h>
#include <kelvar/RedfishClient.h>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/redfish/RedfishLog.h"

namespace Kelvar {

LogmgrRedfish::LogmgrRedfish(const KelvarConnection::ConnectionInfo& info)
    : client_(std::make_unique<Rest::RedfishClient>()),
      baseUrl_(RedfishService::BaseUrl(info)),
      limitSeconds_(ConnectionOptionsScope::Current().operation_limit_seconds) {
  RedfishService::Configure(*client_, info);
}

LogmgrRedfish::~LogmgrRedfish() = default;

template <typename Record>
int LogmgrRedfish::Read(const char* operation, const char* log, std::vector<Record>& list) {
  KELVAR_LOG(4) << "Entering LogmgrRedfish::" << operation << "()";
  list.clear();
  int code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
  try {
    const OperationDeadline deadline(limitSeconds_);
    code = ReadRedfishLog({client_.get(), baseUrl_}, {.name = log, .managersServe = true}, list);
  } catch (const std::exception& error) {
    KELVAR_LOG(1) << operation << " failed with error is: " << error.what();
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, operation, error.what());
  }
  KELVAR_LOG(4) << "Exiting LogmgrRedfish::" << operation << "(), ret = " << code;
  return code;
}

int LogmgrRedfish::GetActiveEventsForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Read("GetActiveEventsForInventory", "ActiveLog", list);
}

int LogmgrRedfish::GetAuditLogForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Read("GetAuditLogForInventory", "AuditLog", list);
}

int LogmgrRedfish::GetPlatformLogForInventory(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Read("GetPlatformLogForInventory", "PlatformLog", list);
}

int LogmgrRedfish::GetMaintenanceLog(std::vector<MAINTLOGREDFISHDATA>& list) {
  return Read("GetMaintenanceLog", "MaintenanceLog", list);
}

}  // namespace Kelvar
