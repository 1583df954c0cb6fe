#include <algorithm>
#include <set>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using Pegasus::CIMInstance;

namespace {

constexpr const char* kBoards[] = {"system board", "drive backplane", "system internal expansion board", "Riser"};

/// The property that holds the FRU part number of a component of this name; null for one that is not listed.
const char* FruPartNumberProperty(const std::string& name) {
  const bool isBoard = std::any_of(std::begin(kBoards), std::end(kBoards),
                                   [&](const char* board) { return name.find(board) != std::string::npos; });
  if (isBoard) {
    return "SKU";
  }
  return name.find("power supply") != std::string::npos ? "Model" : nullptr;
}

OtherSystemVPD ReadComponent(const CIMInstance& instance, const std::string& name, const char* fruPartNumber) {
  const CIMField<OtherSystemVPD> fields[] = {
      {"PartNumber", kText<&OtherSystemVPD::PartNumber>, kSilent},
      {fruPartNumber, kText<&OtherSystemVPD::FruPartNumber>, kSilent},
      {"SerialNumber", kText<&OtherSystemVPD::SerialNumber>, kSilent},
      {"Manufacturer", kText<&OtherSystemVPD::Manufacturer>, kSilent},
  };
  OtherSystemVPD component;
  component.Name = name;
  ReadCIMFields(instance, fields, component);
  return component;
}

}  // namespace

Code NodeFirmwareInventoryImpCIM::GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) {
  const auto body = [&](Code& code) {
    const Instances instances = Enumerate("CIM_PhysicalElement");
    if (instances.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      LogNoInstance("CIM_PhysicalElement");
      return;
    }
    std::set<std::string> taken;
    for (Pegasus::Uint32 i = 0; i < instances.size(); ++i) {
      const auto name = FindCIMText(instances[i], "ElementName", kSilent);
      if (!name) {
        KELVAR_LOG(4) << "No key property found under namespace: " << GetStrNamespace();
        code = NodeFirmwareInventory::INVENTORY_INCOMPLETE;
        DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, "GetNodeOtherSystemVPD",
                                    "a component without ElementName");
        continue;
      }
      const char* const fruPartNumber = FruPartNumberProperty(*name);
      if (fruPartNumber != nullptr && taken.insert(*name).second) {
        list.push_back(ReadComponent(instances[i], *name, fruPartNumber));
        code = NodeFirmwareInventory::INVENTORY_SUCCESS;
      }
    }
    KELVAR_LOG(4) << "VPDs.size() = " << list.size();
  };
  return Run("GetNodeOtherSystemVPD", body);
}

}  // namespace Kelvar
