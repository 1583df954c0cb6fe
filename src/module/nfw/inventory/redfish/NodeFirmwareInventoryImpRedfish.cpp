#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include <locale>
#include <sstream>
#include <utility>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/RedfishClient.h>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/redfish/Frame.h"
#include "module/nfw/inventory/redfish/RedfishService.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarConnection::ConnectionInfo;

namespace {

constexpr const char* kChassis = "/redfish/v1/Chassis";

void LastClauses(const char* operation, Code& code) {
  code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
  try {
    throw;
  } catch (const std::exception& error) {
    KELVAR_LOG(1) << operation << " failed with error is: " << error.what();
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, operation, error.what());
  } catch (...) {
    KELVAR_LOG(1) << operation << " failed with unknown error.";
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, operation, "unknown error");
  }
}

}  // namespace

Code RunRedfishOperation(const RedfishFrame& frame, const char* operation, OperationBody body, Code initial) {
  const auto withClient = [&](Code& code) {
    body(code);
    if (!frame.hasClient) {
      code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
    }
  };
  const OperationDeadline deadline(frame.limitSeconds);
  return RunOperation("NodeFirmwareInventoryImpRedfish", operation, &LastClauses, withClient, initial);
}

NodeFirmwareInventoryImpRedfish::NodeFirmwareInventoryImpRedfish(const ConnectionInfo& connection)
    : NodeFirmwareInventoryImpRedfish(connection, std::make_unique<Rest::RedfishClient>()) {}

NodeFirmwareInventoryImpRedfish::NodeFirmwareInventoryImpRedfish(const ConnectionInfo& connection,
                                                                 std::unique_ptr<Rest::RestClientInterface> client)
    : NodeFirmwareInventoryImp(connection),
      restClient(std::move(client)),
      baseUrl(RedfishService::BaseUrl(connection)),
      operationLimitSeconds(ConnectionOptionsScope::Current().operation_limit_seconds) {
  KELVAR_LOG(4) << "Entering Constructor of NodeFirmwareInventoryImpRedfish";
  if (!restClient) {
    KELVAR_LOG(1) << "Failed to construct rest client point.";
    return;
  }
  RedfishService::Configure(*restClient, connection);
}

NodeFirmwareInventoryImpRedfish::~NodeFirmwareInventoryImpRedfish() {
  KELVAR_LOG(4) << "Entering Destructor of NodeFirmwareInventoryImpRedfish";
}

RedfishFrame NodeFirmwareInventoryImpRedfish::Frame() const {
  return {restClient != nullptr, operationLimitSeconds};
}

RedfishService NodeFirmwareInventoryImpRedfish::Service() const {
  return {restClient.get(), baseUrl};
}

int NodeFirmwareInventoryImpRedfish::GetConnectStatus() {
  return 0;
}

Code NodeFirmwareInventoryImpRedfish::GetZMCGenerationType(ZMCGENERATIONTYPE& /*generation*/) {
  return RunRedfishOperation(Frame(), "GetZMCGenerationType", [](Code&) {});
}

Code NodeFirmwareInventoryImpRedfish::GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& /*list*/) {
  return RunRedfishOperation(Frame(), "GetNFWSoftwareIdentity", [](Code&) {});
}

Code NodeFirmwareInventoryImpRedfish::CheckRestClientResponse(const Rest::RestResponse& response) {
  return RedfishService::CheckResponse(response);
}

std::vector<std::string> NodeFirmwareInventoryImpRedfish::ConstructChassisUrl() {
  std::vector<std::string> urls;
  Code code{};
  const auto response = Service().FetchOrLog(kChassis, code);
  if (!response) {
    return urls;
  }
  ReadGuarded(kChassis, "Failed to read  redfish chassis url with error is: ",
              "Failed to read redfish chassis url with unknown error.", [&] {
                AppendMemberPaths(JsonTree(response->body).Root(), urls);
                KELVAR_LOG(4) << "NodeFirmwareInventoryImpRedfish::ConstructChassisUrl, chassis url size= "
                              << urls.size();
              });
  return urls;
}

Code NodeFirmwareInventoryImpRedfish::ConstructSystemsUrl(std::vector<std::string>& urls) {
  Code code{};
  const auto response = Service().FetchOrLog(RedfishService::kSystems, code);
  if (!response) {
    return code;
  }
  const bool read = ReadGuarded(
      RedfishService::kSystems,
      "Failed to read redfish systems url with error is: ", "Failed to read redfish systems url with unknown error.",
      [&] {
        AppendMemberPaths(JsonTree(response->body).Root(), urls);
        KELVAR_LOG(4) << "NodeFirmwareInventoryImpRedfish::ConstructSystemsUrl, systems url size= " << urls.size();
      });
  return read ? NodeFirmwareInventory::INVENTORY_SUCCESS : NodeFirmwareInventory::INVENTORY_FAILED;
}

std::string NodeFirmwareInventoryImpRedfish::toString(const u32& number) {
  return std::to_string(number);
}

u32 NodeFirmwareInventoryImpRedfish::toU32(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  u32 number = 0;
  return stream >> number ? number : 0;
}

}  // namespace Kelvar
