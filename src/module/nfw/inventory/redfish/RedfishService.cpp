#include "module/nfw/inventory/redfish/RedfishService.h"

#include <algorithm>
#include <utility>

#include "common/log/LogMacros.h"

namespace Kelvar {

using Code = RedfishService::Code;

RedfishService::RedfishService(Rest::RestClientInterface* client, std::string baseUrl)
    : client_(client), baseUrl_(std::move(baseUrl)) {}

void RedfishService::Configure(Rest::RestClientInterface& client, const KelvarConnection::ConnectionInfo& info) {
  constexpr int kTimeoutSeconds = 120;
  constexpr int kMaxRedirects = 10;
  client.SetSkipTlsVerification(true);
  client.SetBasicAuth(info.UserName, info.Password);
  client.SetTimeout(kTimeoutSeconds);
  client.FollowRedirects(true, kMaxRedirects);
  client.AppendHeader("Accept", "application/json");
  client.AppendHeader("Content-Type", "application/json");
}

std::string RedfishService::BaseUrl(const KelvarConnection::ConnectionInfo& info) {
  const bool bracketed = info.AddressFamily == 1;
  return (bracketed ? "https://[" + info.Host + "]:" : "https://" + info.Host + ":") + std::to_string(info.Port);
}

bool RedfishService::IsFailed(const Rest::RestResponse& response) {
  return response.curlCode != 0 || response.httpCode >= 400;
}

Code RedfishService::CheckResponse(const Rest::RestResponse& response) {
  switch (response.curlCode) {
    case CURLE_OK:
      break;
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return NodeFirmwareInventory::INVENTORY_REST_TRANSPORT_FAILED;
    default:
      return NodeFirmwareInventory::INVENTORY_REST_FAILED;
  }
  if (response.httpCode < 400) {
    return NodeFirmwareInventory::INVENTORY_SUCCESS;
  }
  return response.httpCode == 401 ? NodeFirmwareInventory::INVENTORY_UNAUTHORIZED
                                  : NodeFirmwareInventory::INVENTORY_REST_FAILED;
}

Rest::RestResponse RedfishService::Fetch(const std::string& path) const {
  return client_ == nullptr ? Rest::RestResponse(-1, -1, {}) : client_->Get(baseUrl_ + path);
}

std::optional<Rest::RestResponse> RedfishService::FetchOrLog(const std::string& path, Code& code,
                                                             const char* head) const {
  Rest::RestResponse response = Fetch(path);
  if (IsFailed(response)) {
    KELVAR_LOG(1) << head << baseUrl_ << path << ", curlCode: " << response.curlCode
                  << ", httpCode: " << response.httpCode << ", body:\n"
                  << response.body;
    code = CheckResponse(response);
    return std::nullopt;
  }
  return response;
}

bool IsFetchablePath(const std::string& path) {
  const bool local = !path.empty() && path[0] == '/' && (path.size() == 1 || path[1] != '/');
  const bool printable = std::none_of(path.begin(), path.end(), [](char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte < 0x20 || byte == 0x7F;
  });
  if (!local || !printable) {
    KELVAR_LOG(2) << "Skipped an @odata.id that is no path on the target: " << path;
  }
  return local && printable;
}

void AppendMemberPaths(const JsonNode& collection, std::vector<std::string>& paths) {
  for (const JsonNode& member : collection.Child("Members").Children()) {
    const auto path = member.Find("@odata.id");
    if (path && IsFetchablePath(path->Value())) {
      paths.push_back(path->Value());
    }
  }
  NoteNextPage(collection.Find(kNextLink).has_value());
}

void NoteNextPage(bool hasNextPage) {
  if (hasNextPage) {
    KELVAR_LOG(2) << "The collection has further pages, which are not read";
  }
}

bool ReadGuarded(const char* treeError, const char* otherError, const std::function<void()>& read) {
  try {
    read();
    return true;
  } catch (const boost::property_tree::ptree_error& error) {
    KELVAR_LOG(1) << treeError << error.what();
  } catch (...) {
    KELVAR_LOG(1) << otherError;
  }
  return false;
}

}  // namespace Kelvar
