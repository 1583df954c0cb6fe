#include "module/nfw/inventory/cim/CIMNamespace.h"

#include "common/log/LogMacros.h"

namespace Kelvar {

std::string CIMNamespaceFor(const KelvarConnection::ConnectionInfo& info) {
  if (info.ConnectionCase != KelvarConnection::CONNECTION_CASE_CIM_ESXI) {
    return "root/cimv2";
  }
  KELVAR_LOG(4) << "================ESXI case================";
  return "qel/zmc" + std::to_string(info.ZMCIndex) + "/cimv2";
}

}  // namespace Kelvar
