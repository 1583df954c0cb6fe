#include <algorithm>
#include <array>
#include <string_view>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarNfw::NODEFIRMWAREBUILDID;
using Pegasus::CIMInstance;

namespace {

constexpr std::size_t kDateDigits = 8;

/// The properties that tell an image, and what it holds.
struct Image {
  std::string name;
  std::string version;
  std::string date;
  std::string elementName;
  std::string targetTypes;
};

/// Which image fills which fields. An empty condition always holds.
struct Row {
  std::string_view name;
  std::string_view elementName;
  std::array<std::string_view, 2> targetTypes;
  const char* stem;
  char (NODEFIRMWAREBUILDID::*buildID)[24];
  char (NODEFIRMWAREBUILDID::*date)[12];
};

using Record = NODEFIRMWAREBUILDID;

constexpr Row kRows[] = {
    {"ZMC2", {}, {}, "BMC", &Record::BMCBuildID, &Record::BMCBuildDate},
    {"ZMC2 Backup", {}, {}, "BMCBackUp", &Record::BMCBackUpBuildID, &Record::BMCBackUpBuildDate},
    {"PVQ", {}, {}, "BMCPVQ", &Record::BMCPVQBuildID, &Record::BMCPVQBuildDate},
    {"PVQ Backup", {}, {}, "BMCPVQBackUp", &Record::BMCPVQBackUpBuildID, &Record::BMCPVQBackUpBuildDate},
    {"Diagnostics", "QDG", {}, "QDGp", &Record::QDGpBuildID, &Record::QDGpBuildIDDate},
    {"Diagnostics", "Brenn", {}, "WRBp", &Record::WRBpBuildID, &Record::WRBpBuildIDDate},
    {{}, {}, {"UEFI", "UEFI"}, "uEFI", &Record::uEFIBuildID, &Record::uEFIBuildDate},
    {{}, {}, {"UEFI Backup", "UEFI-Backup"}, "uEFIBackUp", &Record::uEFIBackUpBuildID, &Record::uEFIBackUpBuildDate},
    {"Brenn Windows Drivers", {}, {}, "DRVWNp", &Record::DRVWNpBuildID, &Record::DRVWNpBuildIDDate},
    {"Brenn Linux Drivers", {}, {}, "DRVLNp", &Record::DRVLNpBuildID, &Record::DRVLNpBuildIDDate},
};
static_assert(std::size(kRows) == 10);

bool Fits(const Row& row, const Image& image) {
  const auto& [first, second] = row.targetTypes;
  return (row.name.empty() || image.name == row.name) &&
         (row.elementName.empty() || image.elementName == row.elementName) &&
         (first.empty() || image.targetTypes == first || image.targetTypes == second);
}

/// False when a required property is missing.
bool ReadImage(const CIMInstance& instance, Image& image) {
  const auto name = FindCIMText(instance, "Name", "No ElementName property");
  const auto version = name ? FindCIMText(instance, "VersionString") : std::nullopt;
  const auto date = version ? FindCIMText(instance, "ReleaseDate") : std::nullopt;
  if (!date) {
    return false;
  }
  image = {*name, *version, *date, {}, {}};
  if (image.name == "Diagnostics") {
    image.elementName = FindCIMText(instance, "ElementName", kSilent).value_or("");
  }
  CIMPropertyMap properties{{"TargetTypes", ""}};
  GetPropertiesFromCIMInstance(instance, true, properties);
  image.targetTypes = properties["TargetTypes"];
  return true;
}

bool IsEmpty(const NODEFIRMWAREBUILDID& record) {
  return std::all_of(std::begin(kRows), std::end(kRows),
                     [&](const Row& row) { return *(record.*row.buildID) == '\0' && *(record.*row.date) == '\0'; });
}

void Store(const Image& image, NODEFIRMWAREBUILDID& record) {
  for (const Row& row : kRows) {
    if (!Fits(row, image)) {
      continue;
    }
    Text::CopyFixed(record.*row.buildID, image.version);
    Text::CopyFixed(record.*row.date, std::string_view(image.date).substr(0, kDateDigits));
    KELVAR_LOG(4) << row.stem << "BuildID found  = " << image.version;
    KELVAR_LOG(4) << row.stem << "BuildDate found  = " << image.date;
  }
}

}  // namespace

Code NodeFirmwareInventoryImpCIM::GetNodeFirmwareBuildID(std::vector<NODEFIRMWAREBUILDID>& list) {
  list.clear();
  const auto body = [&](Code& code) {
    const Instances instances = Enumerate("CIM_SoftwareIdentity");
    if (instances.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      KELVAR_LOG(4) << "FirmwareBuildID has no instance.";
      return;
    }
    NODEFIRMWAREBUILDID record{};
    Code walked = NodeFirmwareInventory::INVENTORY_SUCCESS;
    for (Pegasus::Uint32 i = 0; i < instances.size(); ++i) {
      Image image;
      if (!ReadImage(instances[i], image)) {
        walked = NodeFirmwareInventory::INVENTORY_INCOMPLETE;
        DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, "GetNodeFirmwareBuildID",
                                    "an image without Name, VersionString or ReleaseDate ends the list");
        break;
      }
      Store(image, record);
    }
    if (IsEmpty(record)) {
      DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::NotOffered, "GetNodeFirmwareBuildID",
                                  "none of the firmware images that this operation knows");
    }
    list.push_back(record);
    code = walked;
  };
  return Run("GetNodeFirmwareBuildID", body, CIMClauses<1>);
}

Code NodeFirmwareInventoryImpCIM::GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& /*list*/) {
  return NodeFirmwareInventory::INVENTORY_FAILED;
}

}  // namespace Kelvar
