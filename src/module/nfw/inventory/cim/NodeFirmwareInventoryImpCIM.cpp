#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/cim/CIMFailure.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/CIMNamespace.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using Pegasus::CIMInstance;

template <u32 Level>
void CIMClauses(const char* operation, Code& code) {
  const CIMFailure failure = CurrentCIMFailure();
  if (failure.kind == CIMFailure::Http) {
    code = NodeFirmwareInventory::INVENTORY_CONNECT_FAILED;
  } else if (failure.kind == CIMFailure::Cim) {
    code = NodeFirmwareInventory::INVENTORY_CIM_EXCEPTION;
  }
  failure.AddGap(operation);
  KELVAR_LOG(Level) << "in " << operation << "()," << failure;
}

template void CIMClauses<1>(const char*, Code&);
template void CIMClauses<2>(const char*, Code&);
template void CIMClauses<4>(const char*, Code&);

NodeFirmwareInventoryImpCIM::NodeFirmwareInventoryImpCIM(const KelvarConnection::ConnectionInfo& connectionInfo,
                                                         CIMPause pause)
    : NodeFirmwareInventoryImp(connectionInfo) {
  KELVAR_LOG(4) << "Entering constructor of NodeFirmwareInventoryImpCIM::NodeFirmwareInventoryImpCIM...";
  const Pegasus::CIMNamespaceName nameSpace(GetStrNamespace().c_str());
  connection_ = std::make_unique<CIMConnection>(nameSpace, info, std::move(pause));
  KELVAR_LOG(4) << "Exiting constructor of NodeFirmwareInventoryImpCIM::NodeFirmwareInventoryImpCIM...";
}

NodeFirmwareInventoryImpCIM::~NodeFirmwareInventoryImpCIM() {
  KELVAR_LOG(4) << "Entering destructor of NodeFirmwareInventoryImpCIM::NodeFirmwareInventoryImpCIM...";
  connection_.reset();
  KELVAR_LOG(4) << "Exiting destructor of NodeFirmwareInventoryImpCIM::NodeFirmwareInventoryImpCIM...";
}

int NodeFirmwareInventoryImpCIM::GetConnectStatus() {
  return connection_ ? 0 : -1;
}

std::string NodeFirmwareInventoryImpCIM::GetStrNamespace() const {
  std::string nameSpace = CIMNamespaceFor(info);
  KELVAR_LOG(4) << "Exiting NodeFirmwareInventoryImpCIM::GetStrNamespace(), ret = " << nameSpace;
  return nameSpace;
}

Code NodeFirmwareInventoryImpCIM::Run(const char* operation, OperationBody body, ExceptionClauses clauses,
                                      Code initial) {
  const auto withClient = [&](Code& code) {
    if (connection_->GetCIMClient() == nullptr && connection_->ReconnectCIMClient() == 1) {
      code = NodeFirmwareInventory::INVENTORY_CONNECT_FAILED;
      DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, operation, "no connection");
      return;
    }
    body(code);
  };
  const OperationDeadline deadline(connection_->KeptOptions().options.operation_limit_seconds);
  return RunOperation("NodeFirmwareInventoryImpCIM", operation, clauses, withClient, initial);
}

Code NodeFirmwareInventoryImpCIM::Walk(const char* operation, const char* className,
                                       FunctionRef<void(const CIMInstance& instance)> take, Code initial) {
  const auto body = [&](Code& code) {
    const Instances instances = Enumerate(className);
    if (instances.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      LogNoInstance(className);
      return;
    }
    for (Pegasus::Uint32 i = 0; i < instances.size(); ++i) {
      take(instances[i]);
    }
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  };
  return Run(operation, body, CIMClauses<2>, initial);
}

NodeFirmwareInventoryImpCIM::Instances NodeFirmwareInventoryImpCIM::Enumerate(const char* className,
                                                                              const std::string& nameSpace) {
  return EnumerateAll(*connection_, nameSpace.c_str(), className);
}

void NodeFirmwareInventoryImpCIM::LogNoInstance(const char* className) const {
  KELVAR_LOG(4) << className << " has no instance under namespace  = " << GetStrNamespace();
}

Code NodeFirmwareInventoryImpCIM::GetZMCGenerationType(ZMCGENERATIONTYPE& generation) {
  bool hasClient = false;
  bool found = false;
  const auto body = [&](Code& code) {
    hasClient = true;
    const Instances instances = Enumerate("CIM_SoftwareIdentity");
    if (instances.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      KELVAR_LOG(4) << "CIM_SoftwareIdentity no instance, exiting, namespace  = " << GetStrNamespace();
    }
    for (Pegasus::Uint32 i = 0; i < instances.size() && !found; ++i) {
      const auto name = FindCIMText(instances[i], "ElementName");
      if (name && name->find("ZMC2") != std::string::npos) {
        KELVAR_LOG(4) << "ZMC2 found ";
        found = true;
        code = NodeFirmwareInventory::INVENTORY_SUCCESS;
      }
    }
  };
  const Code code = Run("GetZMCGenerationType", body, CIMClauses<4>);
  if (hasClient) {
    generation = found ? NodeFirmwareInventory::ZMC_GENERATION_2 : NodeFirmwareInventory::ZMC_GENERATION_1;
  }
  return code;
}

}  // namespace Kelvar
