#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/NodeFirmwareInventory.h>
#include <kelvar/RestClient.h>

#include <kelvar/Diagnostics.h>

#include "common/json/JsonTree.h"

namespace Kelvar {

/// What all readers of a Redfish service share: the settings of the client, the base URL, fetching and judging
/// responses, collections. Holds nothing but where to ask.
class RedfishService {
 public:
  using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

  static constexpr const char* kSystems = "/redfish/v1/Systems";
  static constexpr const char* kManagers = "/redfish/v1/Managers";
  static constexpr const char* kFirmwareInventory = "/redfish/v1/UpdateService/FirmwareInventory";
  static constexpr const char* kExpand = "?$expand=.($levels=1)";

  /// A null client answers nothing: every fetch fails.
  RedfishService(Rest::RestClientInterface* client, std::string baseUrl);

  static void Configure(Rest::RestClientInterface& client, const KelvarConnection::ConnectionInfo& info);
  static std::string BaseUrl(const KelvarConnection::ConnectionInfo& info);

  static bool IsFailed(const Rest::RestResponse& response);
  /// 0, or what the response's failure means as a result of an operation.
  static Code CheckResponse(const Rest::RestResponse& response);
  /// Adds the gap that a failed response leaves.
  static void NoteFailure(const std::string& path, const Rest::RestResponse& response);

  /// Asks for a path that begins with "/".
  Rest::RestResponse Fetch(const std::string& path) const;
  /// The response, or its code in `code`, a gap and a line of level 1, `head` in front, when it is failed.
  std::optional<Rest::RestResponse> FetchOrLog(const std::string& path, Code& code,
                                               const char* head = kFailureHead) const;
  /// The same without a gap, for what another resource may serve as well.
  std::optional<Rest::RestResponse> FetchOrLogAlone(const std::string& path, Code& code,
                                                    const char* head = kFailureHead) const;

 private:
  static constexpr const char* kFailureHead = "Failed to get info from url ";

  /// Whether the response is failed; its code then.
  bool LogFailure(const std::string& path, const Rest::RestResponse& response, const char* head, Code& code) const;

  Rest::RestClientInterface* client_;
  std::string baseUrl_;
};

/// Whether a path that a target gave may be asked for: it begins with one "/", so that no other host is meant, and has
/// no control characters. A refused one leaves a line of level 2.
bool IsFetchablePath(const std::string& path);

/// Names the resource that the calling thread reads, for the gaps that are found within it.
class ResourceInReading {
 public:
  explicit ResourceInReading(std::string_view path) noexcept;
  ~ResourceInReading();
  ResourceInReading(const ResourceInReading&) = delete;
  ResourceInReading& operator=(const ResourceInReading&) = delete;

  static void AddGap(GapKind kind, FailureCause cause, const char* detail) noexcept;

 private:
  const std::string_view outer_;
};

/// Adds a gap for members that were links where records were expected, when there are any.
void NoteLinks(std::size_t links) noexcept;
constexpr const char* kLink = "@odata.id";

/// Of a collection whose members are asked for one by one.
constexpr std::size_t kMaxMembers = 20'000;

/// Appends the path of each member of a collection, up to the bound, in document order; members without a fetchable one
/// are skipped. Throws ptree_bad_path when there are no "Members".
void AppendMemberPaths(const JsonNode& collection, std::vector<std::string>& paths);

/// Leaves a line of level 2 and a gap when a collection has further pages: only the first is read.
void NoteNextPage(bool hasNextPage);
constexpr const char* kNextLink = "Members@odata.nextLink";

/// Runs what reads the JSON text of a resource. False when it threw, after a gap and a line of level 1: `treeError` and
/// the text of a ptree_error, `otherError` for anything else.
bool ReadGuarded(const std::string& path, const char* treeError, const char* otherError,
                 const std::function<void()>& read);

}  // namespace Kelvar
