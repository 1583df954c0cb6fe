#include "common/deadline/OperationDeadline.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/cim/MessageLogEntry.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/nfw/inventory/cim/RecordAppender.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarNfw::ZMCMESSAGELOGDATA;

namespace {

constexpr u32 kTimeoutMs = 420'000;

}  // namespace

// Outside the usual frame: the access layer enumerates, reconnects and deals with its own failures.
Code NodeFirmwareInventoryImpCIM::GetZMCMessageLogData(std::vector<ZMCMESSAGELOGDATA>& list, int selector) {
  list.clear();
  const auto body = [&](Code& code) {
    Instances instances;
    KELVAR_LOG(4) << "Start to enumerate instance of the QEL_StandardMessageLogEntry";
    GetCIMArrayFromEnumerateInstances("QEL_StandardMessageLogEntry", *connection_, instances, kTimeoutMs);
    KELVAR_LOG(4) << "End to enumerate instance of the QEL_StandardMessageLogEntry";
    if (instances.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      return;
    }
    ZMCMESSAGELOGDATA entry;
    RecordAppender<ZMCMESSAGELOGDATA> append(list, MessageLogTexts());
    list.reserve(instances.size());
    for (Pegasus::Uint32 i = 0; i < instances.size(); ++i) {
      entry.ZMCIndex = info.ZMCIndex;
      ReadMessageLogEntry(instances[i], selector, entry);
      append(entry);
      KELVAR_LOG(4) << "Push back BMCMsg instance to vector";
    }
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  };
  const OperationDeadline deadline(connection_->KeptOptions().options.operation_limit_seconds);
  return RunOperation("NodeFirmwareInventoryImpCIM", "GetZMCMessageLogData", CIMClauses<2>, body);
}

}  // namespace Kelvar
