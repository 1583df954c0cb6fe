#include "module/nfw/inventory/OperationFrame.h"

#include "common/log/LogMacros.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

/// For what only words a record of the log: lack of memory there changes no result.
template <typename Action>
void Quietly(Action action) noexcept {
  try {
    action();
  } catch (...) {
  }
}

void TraceExit(const char* className, const char* operation, Code code, ExitLine exitLine) {
  if (exitLine) {
    KELVAR_LOG(4) << exitLine(code);
  } else {
    KELVAR_LOG(4) << "Exiting " << className << "::" << operation << "(), ret = " << code;
  }
}

}  // namespace

Code RunOperation(const char* className, const char* operation, ExceptionClauses clauses, OperationBody body,
                  Code initial, ExitLine exitLine) {
  Quietly([&] { KELVAR_LOG(4) << "Entering " << className << "::" << operation << "()"; });
  Code code = initial;
  try {
    body(code);
  } catch (...) {
    if (clauses == nullptr) {
      throw;
    }
    Quietly([&] { clauses(operation, code); });
  }
  Quietly([&] { TraceExit(className, operation, code, exitLine); });
  return code;
}

}  // namespace Kelvar
