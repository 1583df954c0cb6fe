#include "module/nfw/inventory/redfish/RedfishLog.h"

#include <optional>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"

namespace Kelvar {

using Code = RedfishService::Code;

namespace {

constexpr Code kSuccess = NodeFirmwareInventory::INVENTORY_SUCCESS;
constexpr Code kFailed = NodeFirmwareInventory::INVENTORY_REST_FAILED;

/// What the log says when a step cannot read its answer.
struct StepLines {
  const char* treeError;
  const char* otherError;
};

constexpr StepLines kCollectionLines = {"Failed to read url_StandardLog overview info with error is: ",
                                        "Failed to read url_StandardLog overview info with unknown error."};
constexpr StepLines kServicesLines = {"Failed to read log_services_url overview info with error is: ",
                                      "Failed to read log_services_url overview info with unknown error."};
constexpr StepLines kEntriesLines = {"Failed to read services_url_ overview info with error is: ",
                                     "Failed to read url_Standservices_url_ardLog overview info with unknown error."};

/// One walk from a collection of systems or managers to the entries of a log.
class LogWalk {
 public:
  LogWalk(const RedfishService& service, const RedfishLogChoice& choice) : service_(service), choice_(choice) {}

  /// Finds the path of the entries; empty when no member of the collection has such a log.
  Code FindEntries(const char* collection, std::string& entries) const {
    std::vector<std::string> members;
    Code code = Step(collection, kCollectionLines, [&](const JsonNode& root) { AppendMemberPaths(root, members); });
    std::string services;
    for (const std::string& member : members) {
      if (code != kSuccess) {
        return code;
      }
      code = Step(member, kServicesLines, [&](const JsonNode& root) { FindServices(root, services); });
    }
    if (code != kSuccess || services.empty()) {
      return code;
    }
    return Step(services, kEntriesLines, [&](const JsonNode& root) { FindLog(root, entries); });
  }

  template <typename Record>
  Code AppendEntries(const std::string& path, std::vector<Record>& list) const {
    Code code = kSuccess;
    const auto response = service_.FetchOrLog(path, code);
    if (!response) {
      return code;
    }
    return ReadGuarded(path, kEntriesLines.treeError, kEntriesLines.otherError,
                       [&] { AppendLogEntries(response->body, choice_.argumentsRequired, list); })
               ? kSuccess
               : kFailed;
  }

 private:
  Code Step(const std::string& path, const StepLines& lines, const std::function<void(const JsonNode&)>& read) const {
    Code code = kSuccess;
    const auto response = service_.FetchOrLog(path, code);
    if (!response) {
      return code;
    }
    return ReadGuarded(path, lines.treeError, lines.otherError, [&] { read(JsonTree(response->body).Root()); })
               ? kSuccess
               : kFailed;
  }

  /// Of several systems the last that has log services counts.
  void FindServices(const JsonNode& system, std::string& services) const {
    if (choice_.managersServe && !system.Find("LogServices")) {
      return;
    }
    for (const JsonNode& child : system.Child("LogServices").Children()) {
      if (child.Value().find("LogServices") != std::string::npos && IsFetchablePath(child.Value())) {
        services = child.Value();
        return;
      }
    }
  }

  void FindLog(const JsonNode& services, std::string& entries) const {
    for (const JsonNode& member : services.Child("Members").Children()) {
      const auto path = member.Find("@odata.id");
      if (path && path->Value().find(choice_.name) != std::string::npos && IsFetchablePath(path->Value())) {
        entries = path->Value() + "/Entries";
        break;
      }
    }
    NoteNextPage(services.Find(kNextLink).has_value());
  }

  const RedfishService& service_;
  const RedfishLogChoice& choice_;
};

template <typename Record>
Code Read(const RedfishService& service, const RedfishLogChoice& choice, std::vector<Record>& list) {
  const LogWalk walk(service, choice);
  std::string entries;
  Code code = walk.FindEntries(RedfishService::kSystems, entries);
  if (code == kSuccess && entries.empty() && choice.managersServe) {
    code = walk.FindEntries(RedfishService::kManagers, entries);
  }
  if (code != kSuccess) {
    return code;
  }
  if (entries.empty()) {
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::NotOffered, choice.name, "no such log");
    return kFailed;
  }
  return walk.AppendEntries(entries, list);
}

}  // namespace

Code ReadRedfishLog(const RedfishService& service, const RedfishLogChoice& choice,
                    std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) {
  return Read(service, choice, list);
}

Code ReadRedfishLog(const RedfishService& service, const RedfishLogChoice& choice,
                    std::vector<MAINTLOGREDFISHDATA>& list) {
  return Read(service, choice, list);
}

}  // namespace Kelvar
