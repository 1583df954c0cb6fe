#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "common/diagnostics/ConnectionLimits.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/json/FieldTable.h"
#include "common/log/LogMacros.h"
#include "common/text/NumberText.h"
#include "module/nfw/inventory/redfish/Frame.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

constexpr const char* kPower = "/redfish/v1/Chassis/1/Power";
constexpr int kFirstBackPlaneId = 3;
constexpr const char* kNone = "None";

constexpr std::array<DocumentField<SystemBoardVPD>, 4> kBoardFields = {{
    {"Name", &SystemBoardVPD::Name, nullptr, nullptr, 3, "System Board Name: "},
    {"PartNumber", &SystemBoardVPD::PartNumber, kUnknown, nullptr, 3, "System Board PartNumber: "},
    {"Manufacturer", &SystemBoardVPD::Manufacturer, kUnknown, nullptr, 3, "System Board Manufacturer: "},
    {"Model", &SystemBoardVPD::Model, kUnknown, nullptr, 3, "System Board model: "},
}};

constexpr std::array<DocumentField<SystemBoardVPD>, 2> kBoardOemFields = {{
    {"FruPartNumber", &SystemBoardVPD::FruPartNumber, kUnknown, nullptr, 4, "System Board FruPartNumber: "},
    {"SystemBoardSerialNumber", &SystemBoardVPD::SerialNumber, kUnknown, nullptr, 4, "System Board SerialNumber: "},
}};

constexpr std::array<DocumentField<PowerSupplyVPD>, 4> kSupplyFields = {{
    {"Name", &PowerSupplyVPD::Name, nullptr, nullptr, 3, "PowerSupply Name: "},
    {"SerialNumber", &PowerSupplyVPD::SerialNumber, kUnknown, kNone, 3, "PowerSupply SerialNumber: "},
    {"PartNumber", &PowerSupplyVPD::PartNumber, kUnknown, kNone, 3, "PowerSupply PartNumber: "},
    {"Manufacturer", &PowerSupplyVPD::Manufacturer, kUnknown, kNone, 3, "PowerSupply Manufacturer: "},
}};

constexpr std::array<DocumentField<PowerSupplyVPD>, 1> kSupplyOemFields = {{
    {"FruPartNumber", &PowerSupplyVPD::FruPartNumber, kUnknown, kNone, 4, "PowerSupply FruPartNumber "},
}};

constexpr std::array<DocumentField<BackPlaneVPD>, 5> kBackPlaneFields = {{
    {"Name", &BackPlaneVPD::Name, nullptr, nullptr, 3, "BackPlane Name: "},
    {"SerialNumber", &BackPlaneVPD::SerialNumber, kUnknown, nullptr, 3, "BackPlane SerialNumber: "},
    {"PartNumber", &BackPlaneVPD::PartNumber, kUnknown, nullptr, 3, "BackPlane PartNumber: "},
    {"Manufacturer", &BackPlaneVPD::Manufacturer, kUnknown, nullptr, 3, "BackPlane Manufacturer: "},
    {"SKU", &BackPlaneVPD::FruPartNumber, kUnknown, nullptr, 3, "BackPlane FruPartNumber: "},
}};

/// The body, logged; or the code of a failed response. Leaves the lines that the component operations leave.
std::optional<std::string> FetchBody(const RedfishService& service, const std::string& path, Code& code) {
  Rest::RestResponse response = service.Fetch(path);
  if (RedfishService::IsFailed(response)) {
    KELVAR_LOG(1) << "Rest Client response failure with curlCode " << response.curlCode << ", httpCode "
                  << response.httpCode;
    RedfishService::NoteFailure(path, response);
    code = RedfishService::CheckResponse(response);
    return std::nullopt;
  }
  KELVAR_LOG(4) << response.body;
  return std::move(response.body);
}

/// The document, which is an object; or nothing and the code.
std::optional<JsonDocument> FetchDocument(const RedfishService& service, const std::string& path, Code& code) {
  auto body = FetchBody(service, path, code);
  if (!body) {
    return std::nullopt;
  }
  auto document = JsonDocument::Read(std::move(*body));
  if (!document || !document->Root().IsObject()) {
    DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, path, "no JSON object");
    code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
    return std::nullopt;
  }
  return document;
}

bool IsBackPlane(const JsonValue& chassis) {
  const JsonValue id = chassis["Id"];
  if (!id) {
    return true;
  }
  const auto text = id.String();
  if (!text) {
    throw std::runtime_error("an Id that is no string");
  }
  const int number = Text::ParseClampedInt(*text);
  KELVAR_LOG(3) << "Chassis ID: " << number;
  return number >= kFirstBackPlaneId;
}

void AppendBackPlane(const std::optional<JsonDocument>& chassis, std::vector<BackPlaneVPD>& list) {
  if (!chassis || !IsBackPlane(chassis->Root())) {
    return;
  }
  BackPlaneVPD backPlane;
  if (LoadFields(chassis->Root(), kBackPlaneFields, backPlane) != nullptr) {
    throw std::runtime_error("a value that is no string");
  }
  list.push_back(std::move(backPlane));
}

template <typename Component>
OtherSystemVPD ToOther(const Component& component) {
  return {component.Name, component.SerialNumber, component.PartNumber, component.Manufacturer,
          component.FruPartNumber};
}

}  // namespace

Code NodeFirmwareInventoryImpRedfish::GetSystemBoardVPD(SystemBoardVPD& board) {
  return RunRedfishOperation(Frame(), "GetSystemBoardVPD", [&](Code& code) {
    const auto document = FetchDocument(Service(), "/redfish/v1/Chassis/1", code);
    if (!document) {
      return;
    }
    LoadFields(document->Root(), kBoardFields, board);
    LoadFields(document->Root()["Oem"]["Tavrik"], kBoardOemFields, board);
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

Code NodeFirmwareInventoryImpRedfish::GetPowerSupplyVPD(std::vector<PowerSupplyVPD>& list) {
  return RunRedfishOperation(Frame(), "GetPowerSupplyVPD", [&](Code& code) {
    const auto document = FetchDocument(Service(), kPower, code);
    if (!document) {
      return;
    }
    const JsonValue supplies = document->Root()["PowerSupplies"];
    if (supplies && !supplies.IsArray()) {
      DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, kPower, "PowerSupplies is not an array");
      code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
      return;
    }
    for (const JsonValue& element : supplies.Elements()) {
      if (!element.IsObject()) {
        KELVAR_LOG(2) << "Skipped a power supply that is no object";
        DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, kPower,
                                    "a power supply that is not an object");
        continue;
      }
      PowerSupplyVPD supply;
      LoadFields(element, kSupplyFields, supply);
      LoadFields(element["Oem"]["Tavrik"], kSupplyOemFields, supply);
      CheckRecordLimit(list);
      list.push_back(std::move(supply));
    }
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

Code NodeFirmwareInventoryImpRedfish::GetBackPlaneVPD(std::vector<BackPlaneVPD>& list) {
  return RunRedfishOperation(Frame(), "GetBackPlaneVPD", [&](Code& code) {
    const std::vector<std::string> urls = ConstructChassisUrl();
    code = urls.empty() ? NodeFirmwareInventory::INVENTORY_REST_FAILED : NodeFirmwareInventory::INVENTORY_SUCCESS;
    try {
      for (const std::string& url : urls) {
        AppendBackPlane(FetchDocument(Service(), url, code), list);
      }
    } catch (...) {
      KELVAR_LOG(1) << "Failed to read drive backplane information.";
      DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, "/redfish/v1/Chassis",
                                  "a chassis with a value that is not a string");
      code = NodeFirmwareInventory::INVENTORY_REST_FAILED;
    }
  });
}

Code NodeFirmwareInventoryImpRedfish::GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) {
  const auto body = [&](Code&) {
    std::vector<PowerSupplyVPD> supplies;
    if (GetPowerSupplyVPD(supplies) == NodeFirmwareInventory::INVENTORY_SUCCESS) {
      for (const PowerSupplyVPD& supply : supplies) {
        list.push_back(ToOther(supply));
      }
    }
    SystemBoardVPD board;
    if (GetSystemBoardVPD(board) == NodeFirmwareInventory::INVENTORY_SUCCESS) {
      board.Name = "system board";
      list.push_back(ToOther(board));
    }
    std::vector<BackPlaneVPD> backPlanes;
    GetBackPlaneVPD(backPlanes);
    for (const BackPlaneVPD& backPlane : backPlanes) {
      list.push_back(ToOther(backPlane));
    }
  };
  return RunRedfishOperation(Frame(), "GetNodeOtherSystemVPD", body, NodeFirmwareInventory::INVENTORY_SUCCESS);
}

}  // namespace Kelvar
