#include <algorithm>
#include <array>
#include <cctype>
#include <stdexcept>
#include <string>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/json/FieldTable.h"
#include "common/log/LogMacros.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/redfish/Frame.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarAgentless::ComputerSystem;
using KelvarNfw::NODEFIRMWARESYSTEMVPD;

namespace {

constexpr const char* kProductInfo = "/redfish/v1/Systems/Self/Oem/Tavrik/ProductInfo";
constexpr const char* kFirstChassis = "/redfish/v1/Chassis/1";
constexpr std::size_t kMachineTypeLength = 4;

constexpr std::array<DocumentField<ComputerSystem>, 4> kChassisFields = {{
    {.key = "SerialNumber", .member = &ComputerSystem::SerialNumber},
    {.key = "Manufacturer", .member = &ComputerSystem::Manufacturer},
    {.key = "Model", .member = &ComputerSystem::Model},
    {.key = "UUID", .member = &ComputerSystem::UUID, .level = 4, .label = "UUID="},
}};

constexpr std::array<DocumentField<ComputerSystem>, 1> kChassisOemFields = {{
    {.key = "ProductName", .member = &ComputerSystem::ProductName, .level = 4, .label = "ProductName="},
}};

struct ModelName {
  const char* found;
  const char* secondGeneration;
  const char* otherwise;
};

constexpr std::array<ModelName, 3> kModelNames = {{
    {"RT120", "rt120-v2", "RT120"},
    {"RT130", "rt130-v2", "RT130"},
    {"RT140", "rt140-v2", "rt140"},
}};

void EraseSpaceandSpecial(const std::string& source, std::string& destination) {
  destination = source;
  destination.erase(std::remove(destination.begin(), destination.end(), ' '), destination.end());
  KELVAR_LOG(4) << "In EraseSpace the source is: " << source;
  KELVAR_LOG(4) << "In EraseSpace the destination is: " << destination;
}

/// The tag of a third generation: the five characters before "V3", in lower case.
std::string ThirdGenerationName(const std::string& model, std::size_t position) {
  constexpr std::size_t kNameLength = 5;
  if (position < kNameLength) {
    throw std::out_of_range("a model with fewer than 5 characters before V3");
  }
  std::string name = model.substr(position - kNameLength, kNameLength) + "-v3";
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return name;
}

/// 1 and the short name of a model, 0 for a model without one.
int CheckModel(const std::string& model, std::string& normalised) {
  std::string text;
  EraseSpaceandSpecial(model, text);
  const std::size_t third = text.find("V3");
  if (third != std::string::npos) {
    normalised = ThirdGenerationName(text, third);
    return 1;
  }
  for (const ModelName& name : kModelNames) {
    if (text.find(name.found) != std::string::npos) {
      normalised = text.find("V2") != std::string::npos ? name.secondGeneration : name.otherwise;
      return 1;
    }
  }
  return 0;
}

/// Writes machine type and serial number; returns the machine type.
std::string StoreNames(const char* operation, const std::string& typeAndModel, const std::string& serialNumber,
                       NODEFIRMWARESYSTEMVPD& vpd) {
  std::string machineType = typeAndModel.substr(0, kMachineTypeLength);
  KELVAR_LOG(4) << "NodeFirmwareInventoryImpRedfish::" << operation << " mt=" << machineType << ",sn=" << serialNumber;
  Text::CopyFixed(vpd.MachineType, machineType);
  Text::CopyFixed(vpd.SerialNumber, serialNumber);
  return machineType;
}

/// False for a machine type that is too short.
bool ReadSystem(const JsonNode& system, NODEFIRMWARESYSTEMVPD& vpd) {
  const std::string model = system.Child("Model").Value();
  KELVAR_LOG(3) << "NodeFirmwareInventoryImpRedfish::GetNodeFirmwareSystemVPD Model = " << model;
  std::string modelName;
  if (CheckModel(model, modelName) == 1) {
    vpd.HasModelName = 1;
    Text::CopyFixed(vpd.ModelName, modelName);
  }
  const std::string sku = system.Child("SKU").Value();
  const std::string serialNumber = system.Child("SerialNumber").Value();
  const std::string machineType = StoreNames("GetNodeFirmwareSystemVPD", sku, serialNumber, vpd);
  if (machineType.size() < kMachineTypeLength) {
    KELVAR_LOG(1) << "Invalid mt:" << machineType;
    ResourceInReading::AddGap(GapKind::Unusable, FailureCause::BadData, "a machine type of fewer than 4 characters");
    return false;
  }
  return true;
}

}  // namespace

Code NodeFirmwareInventoryImpRedfish::GetNodeFirmwareSystemVPD(NODEFIRMWARESYSTEMVPD& vpd) {
  return RunRedfishOperation(Frame(), "GetNodeFirmwareSystemVPD", [&](Code& code) {
    std::vector<std::string> urls;
    code = ConstructSystemsUrl(urls);
    if (code != NodeFirmwareInventory::INVENTORY_SUCCESS) {
      return;
    }
    code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
    if (urls.empty()) {
      DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::NotOffered, RedfishService::kSystems, "no system");
      return;
    }
    const auto response = Service().FetchOrLog(urls.front(), code, "Failed to get info from url");
    if (!response) {
      return;
    }
    ReadGuarded(urls.front(), "Failed to read redfish chassis info with error is: ",
                "Failed to read redfish chassis info with unknown error.", [&] {
                  if (ReadSystem(JsonTree(response->body).Root(), vpd)) {
                    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
                  }
                });
  });
}

Code NodeFirmwareInventoryImpRedfish::GetNodeFirmwareSystemVPDFromOEMProduct(NODEFIRMWARESYSTEMVPD& vpd) {
  static constexpr const char* kOperation = "GetNodeFirmwareSystemVPDFromOEMProduct";
  return RunRedfishOperation(Frame(), kOperation, [&](Code& code) {
    const auto response = Service().FetchOrLog(kProductInfo, code, "Failed to get info from url");
    if (!response) {
      return;
    }
    const bool read = ReadGuarded(kProductInfo, "Failed to read redfish oem product info with error is: ",
                                  "Failed to read redfish oem product info with unknown error.", [&] {
                                    const JsonTree tree(response->body);
                                    const JsonNode typeAndModel = tree.Root().Child("MB").Child("MachineTypeModel");
                                    const JsonNode serialNumber = tree.Root().Child("MB").Child("ComponentSN");
                                    StoreNames(kOperation, typeAndModel.Value(), serialNumber.Value(), vpd);
                                  });
    code = read ? NodeFirmwareInventory::INVENTORY_SUCCESS : NodeFirmwareInventory::INVENTORY_REST_FAILED;
  });
}

Code NodeFirmwareInventoryImpRedfish::GetHardwareInfoComputerSystem(ComputerSystem& system) {
  return RunRedfishOperation(Frame(), "GetHardwareInfoComputerSystem", [&](Code& code) {
    auto response = Service().FetchOrLog(kFirstChassis, code);
    if (!response) {
      return;
    }
    const auto document = JsonDocument::Read(std::move(response->body));
    if (!document || !document->Root().IsObject()) {
      DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, kFirstChassis, "no JSON object");
      code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
      return;
    }
    LoadFields(document->Root(), kChassisFields, system);
    LoadFields(document->Root()["Oem"]["Tavrik"], kChassisOemFields, system);
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

}  // namespace Kelvar
