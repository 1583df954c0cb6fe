#include "module/nfw/inventory/cim/zmcapp.h"

#include <boost/algorithm/string/predicate.hpp>

#include "common/deadline/OperationDeadline.h"
#include "common/log/LogMacros.h"
#include "common/text/Secret.h"
#include "module/nfw/inventory/cim/CIMFailure.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/CIMNamespace.h"
#include "module/nfw/inventory/cim/MessageLogEntry.h"
#include "module/nfw/inventory/cim/RecordAppender.h"

namespace Kelvar {

using KelvarNfw::ZMCMESSAGELOGDATA;
using Pegasus::CIMInstance;

namespace {

/// Not that of the common event ID.
constexpr int kSelector = 0;

std::string ClassOf(const CIMInstance& instance) {
  const std::string path = ToText(instance.getPath().toString());
  return path.substr(0, path.find('.'));
}

bool BelongsTo(const CIMInstance& instance, const std::string& log) {
  const auto names = [&](const std::string& text) {
    return boost::algorithm::icontains(text, log, std::locale::classic());
  };
  return names(FindCIMText(instance, "LogName", kSilent).value_or("")) ||
         names(FindCIMText(instance, "LogInstanceID", kSilent).value_or("")) || names(ClassOf(instance));
}

ZMCAPPRETURNCODE CodeOf(CIMFailure::Kind kind) {
  switch (kind) {
    case CIMFailure::Http:
      return ZMCAPP_CONNECT_FAILED;
    case CIMFailure::Cim:
      return ZMCAPP_CIM_EXCEPTION;
    case CIMFailure::Other:
      break;
  }
  return ZMCAPP_FAILED;
}

}  // namespace

zmcapp::zmcapp(const KelvarConnection::ConnectionInfo& connectionInfo, bool /*flag*/, CIMPause connectPause)
    : info_(connectionInfo), pause_(std::move(connectPause)) {}

zmcapp::~zmcapp() {
  Text::WipeText(info_.Password);
}

ZMCAPPRETURNCODE zmcapp::GetZMCAuditEventLog(std::vector<ZMCMESSAGELOGDATA>& list) {
  return GetLog("GetZMCAuditEventLog", "Audit", list);
}

ZMCAPPRETURNCODE zmcapp::GetZMCPlatformEventLog(std::vector<ZMCMESSAGELOGDATA>& list) {
  return GetLog("GetZMCPlatformEventLog", "Platform", list);
}

ZMCAPPRETURNCODE zmcapp::GetLog(const char* operation, const std::string& log, std::vector<ZMCMESSAGELOGDATA>& list) {
  KELVAR_LOG(4) << "Entering zmcapp::" << operation << "()";
  list.clear();
  ZMCAPPRETURNCODE code = ZMCAPP_FAILED;
  try {
    const OperationDeadline deadline(keptOptions_.options.operation_limit_seconds);
    code = Connect() ? ReadLog(log, list) : ZMCAPP_CONNECT_FAILED;
  } catch (...) {
    const CIMFailure failure = CurrentCIMFailure();
    code = CodeOf(failure.kind);
    failure.AddGap(operation);
    KELVAR_LOG(2) << "in " << operation << "()," << failure;
  }
  KELVAR_LOG(4) << "Exiting zmcapp::" << operation << "(), ret = " << code;
  return code;
}

bool zmcapp::Connect() {
  if (!connection_) {
    const ConnectionOptionsScope scope = keptOptions_.Enter();
    connection_ = std::make_unique<CIMConnection>(CIMNamespaceFor(info_).c_str(), info_, pause_);
    return connection_->GetCIMClient() != nullptr;
  }
  return connection_->GetCIMClient() != nullptr || connection_->ReconnectCIMClient() == 0;
}

ZMCAPPRETURNCODE zmcapp::ReadLog(const std::string& log, std::vector<ZMCMESSAGELOGDATA>& list) {
  const Pegasus::Array<CIMInstance> instances = EnumerateAll(*connection_, connection_->GetNamespace(), "CIM_LogEntry");
  ZMCMESSAGELOGDATA entry;
  RecordAppender<ZMCMESSAGELOGDATA> append(list, MessageLogTexts());
  for (Pegasus::Uint32 i = 0; i < instances.size(); ++i) {
    if (BelongsTo(instances[i], log)) {
      entry.ZMCIndex = info_.ZMCIndex;
      ReadMessageLogEntry(instances[i], kSelector, entry);
      append(entry);
    }
  }
  return list.empty() ? ZMCAPP_NO_INSTANCE : ZMCAPP_SUCCESS;
}

}  // namespace Kelvar
