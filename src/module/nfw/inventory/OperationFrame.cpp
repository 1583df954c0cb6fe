#include "module/nfw/inventory/OperationFrame.h"

#include "common/log/LogMacros.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

Code RunOperation(const char* className, const char* operation, ExceptionClauses clauses,
                  const std::function<void(Code& code)>& body, Code initial, const ExitLine& exitLine) {
  KELVAR_LOG(4) << "Entering " << className << "::" << operation << "()";
  Code code = initial;
  try {
    body(code);
  } catch (...) {
    if (clauses == nullptr) {
      throw;
    }
    clauses(operation, code);
  }
  if (exitLine) {
    KELVAR_LOG(4) << exitLine(code);
  } else {
    KELVAR_LOG(4) << "Exiting " << className << "::" << operation << "(), ret = " << code;
  }
  return code;
}

}  // namespace Kelvar
