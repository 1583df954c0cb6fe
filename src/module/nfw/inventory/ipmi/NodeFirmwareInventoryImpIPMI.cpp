#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"

#include <new>
#include <sstream>
#include <string>
#include <utility>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "module/nfw/inventory/ipmi/IpmiExchange.h"
#include "module/nfw/inventory/ipmi/nodefirmwareinventoryOnAMD.h"
#include "transport/ipmi/IpmiClient.h"

namespace Kelvar {

using KelvarConnection::ConnectionInfo;
using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

constexpr char kClass[] = "NodeFirmwareInventoryImpIPMI";

void SortException(const char* operation, Code& code) {
  try {
    throw;
  } catch (const IpmiException& exception) {
    code = NodeFirmwareInventory::INVENTORY_IPMI_EXCEPTION;
    KELVAR_LOG(1) << "In " << kClass << "::" << operation << "(), catch exception : " << exception.getErrorMsg();
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, operation, exception.getErrorMsg());
  } catch (...) {
    KELVAR_LOG(1) << "In " << kClass << "::" << operation << "(), catch other exception";
    RecordUnusable(operation, "an unexpected value ended the operation");
  }
}

/// The transport that the connection asks for; null when memory for one is lacking.
std::unique_ptr<IpmiClientInterface> MakeClient(const ConnectionInfo& connection) {
  constexpr char kTrace[] = "In NodeFirmwareInventoryImpIPMI(), new ipmiclient(";
  try {
    if (connection.ConnectionCase == KelvarConnection::CONNECTION_CASE_IPMI_LAN) {
      const std::string port = std::to_string(connection.Port);
      KELVAR_LOG(4) << kTrace << connection.Host << ',' << connection.UserName << ',' << port << ','
                    << connection.RemoteSessionArgument << ')';
      return std::make_unique<IpmiClient>(connection.Host, connection.UserName, connection.Password, port,
                                          connection.RemoteSessionArgument);
    }
    KELVAR_LOG(4) << kTrace << connection.ZMCIndex << ')';
    return std::make_unique<IpmiClient>(connection.ZMCIndex);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

NodeFirmwareInventoryImpIPMI::NodeFirmwareInventoryImpIPMI(const ConnectionInfo& connection)
    : NodeFirmwareInventoryImpIPMI(connection, MakeClient(connection)) {}

NodeFirmwareInventoryImpIPMI::NodeFirmwareInventoryImpIPMI(const ConnectionInfo& connection,
                                                           std::unique_ptr<IpmiClientInterface> transport)
    : NodeFirmwareInventoryImp(connection), client_(std::move(transport)) {
  if (!client_) {
    KELVAR_LOG(1) << "In NodeFirmwareInventoryImpIPMI(),  NULL return from new IpmiClient().";
    return;
  }
  switch (client_->connect()) {
    case IPMICONNECTED:
      connected_ = true;
      KELVAR_LOG(4) << "In NodeFirmwareInventoryImpIPMI(),  connect() success.";
      break;
    case IPMIAUTHFAIL:
      KELVAR_LOG(1) << "In NodeFirmwareInventoryImpIPMI(),  connect() failed for IPMIAUTHFAIL.";
      break;
    default:
      KELVAR_LOG(1) << "In NodeFirmwareInventoryImpIPMI(),  connect() failed.";
  }
}

NodeFirmwareInventoryImpIPMI::~NodeFirmwareInventoryImpIPMI() {
  if (!client_) {
    return;
  }
  try {
    client_->disconnect();
  } catch (...) {
    KELVAR_LOG(2) << "In ~NodeFirmwareInventoryImpIPMI(), disconnect() raised an exception.";
  }
}

Code NodeFirmwareInventoryImpIPMI::Run(const char* operation, OperationBody body, ExitLine exitLine) {
  const OperationDeadline deadline(limitSeconds_);
  const auto whenConnected = [&](Code& code) {
    if (connected_) {
      body(code);
    } else {
      code = NodeFirmwareInventory::INVENTORY_CONNECT_FAILED;
    }
  };
  return RunOperation(kClass, operation, SortException, whenConnected, NodeFirmwareInventory::INVENTORY_FAILED,
                      exitLine);
}

Code NodeFirmwareInventoryImpIPMI::RunUncaught(const char* operation, OperationBody body) {
  const OperationDeadline deadline(limitSeconds_);
  return RunOperation(kClass, operation, nullptr, body);
}

int NodeFirmwareInventoryImpIPMI::GetConnectStatus() {
  return client_ ? 0 : -1;
}

Code NodeFirmwareInventoryImpIPMI::GetZMCGenerationType(ZMCGENERATIONTYPE& generation) {
  const auto query = [&](Code& code) {
    const IpmiReply reply = SendCommand(*client_, kNetFnOem, kQueryGeneration);
    if (reply.completionCode != 0) {
      LogFailedCommand(reply);
      code = CodeOfCompletion(reply.completionCode);
      return;
    }
    Text::ByteReader reader(reply.data);
    reader.Skip(1);
    const u8 kind = reader.U8();
    if (reader.Ok()) {
      generation = (kind & 1) != 0 ? NodeFirmwareInventory::ZMC_GENERATION_2 : NodeFirmwareInventory::ZMC_GENERATION_1;
      code = NodeFirmwareInventory::INVENTORY_SUCCESS;
    }
  };
  const auto exitLine = [&](Code code) {
    std::ostringstream line;
    line << "Exiting NodeFirmwareInventoryImpIPMI::GetZMCGenerationType() ,ret =" << code << " ZMCGEN =" << generation;
    return line.str();
  };
  return Run("GetZMCGenerationType", query, exitLine);
}

// Does not test the connection: without one the transport itself refuses.
Code NodeFirmwareInventoryImpIPMI::GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) {
  return RunUncaught("GetNFWSoftwareIdentity", [&](Code& code) {
    if (!client_) {
      return;
    }
    nodefirmwareinventoryOnAMD platform;
    KelvarOptions::SoftwareIdentity_ bmc;
    if (platform.GetBMCSoftwareIdentity(*client_, bmc) == NodeFirmwareInventory::INVENTORY_SUCCESS) {
      list.push_back(std::move(bmc));
    }
    KelvarOptions::SoftwareIdentity_ uefi;
    code = platform.GetUEFISoftwareIdentity(*client_, uefi);
    if (code == NodeFirmwareInventory::INVENTORY_SUCCESS) {
      list.push_back(std::move(uefi));
    }
  });
}

}  // namespace Kelvar
