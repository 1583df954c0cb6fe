#include "module/nfw/inventory/redfish/RedfishService.h"

#include <algorithm>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"

namespace Kelvar {

using Code = RedfishService::Code;

namespace {

thread_local std::string_view pathInReading;

}  // namespace

ResourceInReading::ResourceInReading(std::string_view path) noexcept : outer_(std::exchange(pathInReading, path)) {}

ResourceInReading::~ResourceInReading() {
  pathInReading = outer_;
}

void ResourceInReading::AddGap(GapKind kind, FailureCause cause, const char* detail) noexcept {
  DiagnosticsRecorder::AddGap(kind, cause, pathInReading, detail);
}

void NoteLinks(std::size_t links) noexcept {
  if (links != 0) {
    ResourceInReading::AddGap(GapKind::LinksOnly, FailureCause::None,
                              "members are links: the target did not expand the collection");
  }
}

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

void RedfishService::NoteFailure(const std::string& path, const Rest::RestResponse& response) {
  const bool hasStatus = response.curlCode == 0;
  DiagnosticsRecorder::AddGap(GapKind::Failure, response.cause, path,
                              hasStatus ? "HTTP " + std::to_string(response.httpCode) : response.body);
}

Rest::RestResponse RedfishService::Fetch(const std::string& path) const {
  return client_ == nullptr ? Rest::RestResponse(-1, -1, {}) : client_->Get(baseUrl_ + path);
}

std::optional<Rest::RestResponse> RedfishService::FetchOrLog(const std::string& path, Code& code,
                                                             const char* head) const {
  Rest::RestResponse response = Fetch(path);
  if (LogFailure(path, response, head, code)) {
    NoteFailure(path, response);
    return std::nullopt;
  }
  return response;
}

std::optional<Rest::RestResponse> RedfishService::FetchOrLogAlone(const std::string& path, Code& code,
                                                                  const char* head) const {
  Rest::RestResponse response = Fetch(path);
  return LogFailure(path, response, head, code) ? std::nullopt : std::optional(std::move(response));
}

bool RedfishService::LogFailure(const std::string& path, const Rest::RestResponse& response, const char* head,
                                Code& code) const {
  if (!IsFailed(response)) {
    return false;
  }
  KELVAR_LOG(1) << head << baseUrl_ << path << ", curlCode: " << response.curlCode
                << ", httpCode: " << response.httpCode << ", body:\n"
                << response.body;
  code = CheckResponse(response);
  return true;
}

bool IsFetchablePath(const std::string& path) {
  const bool local = !path.empty() && path[0] == '/' && (path.size() == 1 || path[1] != '/');
  const bool printable = std::none_of(path.begin(), path.end(), [](char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte < 0x20 || byte == 0x7F;
  });
  if (!local || !printable) {
    KELVAR_LOG(2) << "Skipped an @odata.id that is no path on the target: " << path;
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData, "a link that is not a path on the target");
  }
  return local && printable;
}

void AppendMemberPaths(const JsonNode& collection, std::vector<std::string>& paths) {
  std::size_t count = 0;
  for (const JsonNode& member : collection.Child("Members").Children()) {
    if (++count > kMaxMembers) {
      KELVAR_LOG(2) << "The collection has more than " << kMaxMembers << " members";
      ResourceInReading::AddGap(GapKind::Truncated, FailureCause::TooLarge, "too many members to ask one by one");
      break;
    }
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
    ResourceInReading::AddGap(GapKind::Truncated, FailureCause::None, "further pages are not read");
  }
}

bool ReadGuarded(const std::string& path, const char* treeError, const char* otherError,
                 const std::function<void()>& read) {
  const ResourceInReading resource(path);
  try {
    read();
    return true;
  } catch (const boost::property_tree::ptree_error& error) {
    KELVAR_LOG(1) << treeError << error.what();
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData, error.what());
  } catch (...) {
    KELVAR_LOG(1) << otherError;
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData, "unknown error");
  }
  return false;
}

}  // namespace Kelvar
