#include <array>
#include <string>
#include <string_view>
#include <utility>

#include <kelvar/RedfishClient.h>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/redfish/Frame.h"
#include "module/nfw/inventory/redfish/SoftwareIdentityRedfishWithCache.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarNfw::NODEFIRMWAREBUILDID;
using KelvarOptions::SoftwareIdentity_;

namespace {

struct BuildField {
  std::string_view identifier;
  char (NODEFIRMWAREBUILDID::*buildId)[24];
  char (NODEFIRMWAREBUILDID::*date)[12];
};

/// In the order of the requests.
constexpr std::array<BuildField, 7> kBuildFields = {{
    {"BMC-Primary", &NODEFIRMWAREBUILDID::BMCPVQBuildID, &NODEFIRMWAREBUILDID::BMCPVQBuildDate},
    {"BMC-Backup", &NODEFIRMWAREBUILDID::BMCPVQBackUpBuildID, &NODEFIRMWAREBUILDID::BMCPVQBackUpBuildDate},
    {"UEFI", &NODEFIRMWAREBUILDID::uEFIBuildID, &NODEFIRMWAREBUILDID::uEFIBuildDate},
    {"Brenn", &NODEFIRMWAREBUILDID::WRBpBuildID, &NODEFIRMWAREBUILDID::WRBpBuildIDDate},
    {"BrennWindowsDriver", &NODEFIRMWAREBUILDID::DRVWNpBuildID, &NODEFIRMWAREBUILDID::DRVWNpBuildIDDate},
    {"BrennLinuxDriver", &NODEFIRMWAREBUILDID::DRVLNpBuildID, &NODEFIRMWAREBUILDID::DRVLNpBuildIDDate},
    {"Sorel", &NODEFIRMWAREBUILDID::SorelBuildID, &NODEFIRMWAREBUILDID::SorelBuildIDDate},
}};

/// The pair is chosen by the ID that the service gave, whatever was asked for.
void Store(const SoftwareIdentity_& identity, NODEFIRMWAREBUILDID& record) {
  constexpr std::size_t kDateLength = 10;
  for (const BuildField& field : kBuildFields) {
    if (identity.InstanceID == field.identifier) {
      Text::CopyFixed(record.*field.buildId, identity.VersionString);
      Text::CopyFixed(record.*field.date, identity.ReleaseDate.substr(0, kDateLength));
    }
  }
}

std::vector<std::string> RelatedItems(const JsonNode& member) {
  std::vector<std::string> items;
  const auto related = member.Find("RelatedItem");
  if (!related) {
    KELVAR_LOG(2) << "no RelatedItem";
    return items;
  }
  for (const JsonNode& item : related->Children()) {
    if (const auto path = item.Find("@odata.id")) {
      items.push_back(path->Value());
    }
  }
  return items;
}

void StoreMember(const JsonNode& member, std::map<std::string, SoftwareIdentity_>& identities) {
  const auto path = member.Find("@odata.id");
  KELVAR_LOG(3) << (path ? "@odata.id:" + path->Value() : "no @odata.id");
  const auto id = member.Find("Id");
  const auto name = member.Find("Name");
  const auto softwareId = member.Find("SoftwareId");
  const auto version = member.Find("Version");
  if (!id || !name || !softwareId || !version) {
    KELVAR_LOG(2) << "Invalid data";
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData,
                              "a member without Id, Name, SoftwareId or Version");
    return;
  }
  std::string nameText = name->Value();
  std::string softwareIdText = softwareId->Value();
  std::string versionText = version->Value();
  std::vector<std::string> relatedItems = RelatedItems(member);
  // The record is wide: it is filled where it stays. Nothing throws from here on but the making of its place.
  const auto [place, isNew] = identities.try_emplace(id->Value());
  SoftwareIdentity_& identity = place->second;
  if (!isNew) {
    identity = SoftwareIdentity_();
  }
  identity.Name = std::move(nameText);
  identity.SoftwareID = std::move(softwareIdText);
  identity.VersionString = std::move(versionText);
  identity.Classifications = "10";
  identity.RelatedItems = std::move(relatedItems);
}

}  // namespace

Code NodeFirmwareInventoryImpRedfish::GetNodeFirmwareBuildID(std::vector<NODEFIRMWAREBUILDID>& list) {
  const auto body = [&](Code&) {
    if (restClient == nullptr) {
      return;
    }
    NODEFIRMWAREBUILDID record{};
    bool found = false;
    SoftwareIdentity_ identity;
    // The process shares the cache: it is filled over the real client alone, never over one that a caller wrote.
    std::unique_ptr<Rest::RedfishClient> own;
    auto* client = dynamic_cast<Rest::RedfishClient*>(restClient.get());
    if (client == nullptr) {
      own = std::make_unique<Rest::RedfishClient>();
      RedfishService::Configure(*own, info);
      client = own.get();
    }
    for (const BuildField& field : kBuildFields) {
      auto* cache = SoftwareIdentityRedfishWithCache::GetInstance(info);
      if (cache->GetSoftwareIdentityViaID(std::string(field.identifier), identity, client) != 0) {
        KELVAR_LOG(4) << "Get " << field.identifier << "software identity info error.";
        continue;
      }
      KELVAR_LOG(4) << "Begin to get " << field.identifier << "software identity info from cache.";
      KELVAR_LOG(3) << "Id: " << identity.InstanceID;
      KELVAR_LOG(3) << "Version: " << identity.VersionString;
      KELVAR_LOG(3) << "ReleaseDate: " << identity.ReleaseDate;
      Store(identity, record);
      found = true;
    }
    if (!found) {
      DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::NotOffered, RedfishService::kFirmwareInventory,
                                  "none of the firmware images that this operation knows");
    }
    list.push_back(record);
  };
  return RunRedfishOperation(Frame(), "GetNodeFirmwareBuildID", body, NodeFirmwareInventory::INVENTORY_SUCCESS);
}

bool NodeFirmwareInventoryImpRedfish::GetFirmware(std::map<std::string, SoftwareIdentity_>& identities) {
  const auto body = [&](Code& code) {
    const std::string path = std::string(RedfishService::kFirmwareInventory) + RedfishService::kExpand;
    const auto response = Service().FetchOrLog(path, code, "Failed to get info from url");
    if (!response) {
      return;
    }
    const bool read = ReadGuarded(
        path, "Failed to read  overview info with error is: ", "Failed to read overview info with unknown error.", [&] {
          const JsonTree tree(response->body);
          for (const JsonNode& member : tree.Root().Child("Members").Children()) {
            StoreMember(member, identities);
          }
          NoteNextPage(tree.Root().Find(kNextLink).has_value());
        });
    code = read ? NodeFirmwareInventory::INVENTORY_SUCCESS : NodeFirmwareInventory::INVENTORY_REST_FAILED;
  };
  return RunRedfishOperation(Frame(), "GetFirmware", body) == NodeFirmwareInventory::INVENTORY_SUCCESS;
}

}  // namespace Kelvar
