#include <string_view>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/cim/CIMFailure.h"
#include "module/nfw/inventory/cim/CIMFields.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;
using KelvarAgentless::ComputerSystem;
using KelvarNfw::NODEFIRMWARESYSTEMVPD;
using Pegasus::CIMInstance;
using Pegasus::CIMValue;
using Pegasus::Uint32;

namespace {

constexpr const char* kUsualNamespace = "root/cimv2";
constexpr const char* kRetrieved = "================Retrieved MTM & SN info successfully.================";

void ReadManufacturer(const CIMValue& value, ComputerSystem& system) {
  const std::string text = ToText(value.toString());
  const std::size_t bracket = text.find('(');
  system.Manufacturer = bracket == 0 ? text : text.substr(0, bracket);
}

constexpr CIMField<ComputerSystem> kChassisFields[] = {
    {"Manufacturer", {ReadManufacturer, &ComputerSystem::Manufacturer}, kSilent},
    {"Version", kText<&ComputerSystem::Version>, kSilent},
};

void StoreIdentity(std::string_view description, const std::string& value, ComputerSystem& system) {
  const std::size_t colon = value.find(':');
  if (description == "CIM:ProductName") {
    system.ProductName = value.substr(0, colon);
  } else if (description == "CIM:GUID") {
    system.UUID = value;
  } else if (description == "CIM:Model:SerialNumber") {
    system.Model = value.substr(0, colon);
    system.SerialNumber = colon == std::string::npos ? "" : value.substr(colon + 1);
  }
}

/// The paired arrays of QEL_ComputerSystem.
void ReadIdentities(const CIMInstance& instance, ComputerSystem& system) {
  const auto descriptionValue = FindCIMValue(instance, "IdentifyingDescriptions", kSilent);
  const auto infoValue = FindCIMValue(instance, "OtherIdentifyingInfo", kSilent);
  if (!descriptionValue || !infoValue || !descriptionValue->isArray() || !infoValue->isArray()) {
    return;
  }
  const Pegasus::Array<Pegasus::String> descriptions = ReadStrings(*descriptionValue);
  const Pegasus::Array<Pegasus::String> infos = ReadStrings(*infoValue);
  if (descriptions.size() == 0 || descriptions.size() != infos.size()) {
    KELVAR_LOG(4) << "QELComputerSystem Class IdentifyingDescriptions and OtherIdentifyingInfo array size don't equal.";
    return;
  }
  for (Uint32 i = 0; i < descriptions.size(); ++i) {
    StoreIdentity(ToText(descriptions[i]), ToText(infos[i]), system);
  }
}

Code NoteIncomplete(const char* property) {
  DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, "GetNodeFirmwareSystemVPD",
                              std::string("a chassis without ") + property);
  return NodeFirmwareInventory::INVENTORY_INCOMPLETE;
}

/// Walks chassis until one has both texts. A chassis without a serial number counts, but the next may still be better.
Code ReadChassis(const Pegasus::Array<CIMInstance>& chassis, NODEFIRMWARESYSTEMVPD& vpd) {
  Code code = NodeFirmwareInventory::INVENTORY_INCOMPLETE;
  for (Uint32 i = 0; i < chassis.size(); ++i) {
    const auto model = FindCIMText(chassis[i], "Model");
    if (!model) {
      return NoteIncomplete("Model");
    }
    if (!model->empty()) {
      Text::CopyFixed(vpd.MachineType, *model);
    }
    const auto serial = FindCIMText(chassis[i], "SerialNumber");
    if (!serial) {
      return NoteIncomplete("SerialNumber");
    }
    if (!serial->empty()) {
      Text::CopyFixed(vpd.SerialNumber, *serial);
    }
    if (model->empty()) {
      continue;
    }
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
    if (serial->empty()) {
      Text::CopyFixed(vpd.SerialNumber, "unknown");
      KELVAR_LOG(3) << "SerialNumber is empty, and manual set to unknown.";
    }
    KELVAR_LOG(4) << kRetrieved;
    if (!serial->empty()) {
      break;
    }
  }
  return code;
}

/// The more forgiving walk over the chassis of an ESXi host.
bool ReadESXiChassis(const Pegasus::Array<CIMInstance>& chassis, NODEFIRMWARESYSTEMVPD& vpd) {
  for (Uint32 i = 0; i < chassis.size(); ++i) {
    const auto model = FindCIMText(chassis[i], "Model", kSilent);
    if (!model) {
      continue;
    }
    Text::CopyFixed(vpd.MachineType, *model);
    const auto serial = FindCIMText(chassis[i], "SerialNumber", kSilent);
    if (!serial) {
      continue;
    }
    Text::CopyFixed(vpd.SerialNumber, *serial);
    if (!model->empty()) {
      KELVAR_LOG(3) << kRetrieved;
      return true;
    }
  }
  return false;
}

}  // namespace

Code NodeFirmwareInventoryImpCIM::GetHardwareInfoComputerSystem(ComputerSystem& system) {
  const auto body = [&](Code& code) {
    const Instances chassis = Enumerate("QEL_Chassis", kUsualNamespace);
    const Instances systems = Enumerate("QEL_ComputerSystem", kUsualNamespace);
    if (chassis.size() == 0 && systems.size() == 0) {
      KELVAR_LOG(2) << "Neither QEL_Chassis nor QEL_ComputerSystem have instance. ";
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      return;
    }
    if (chassis.size() != 0) {
      ReadCIMFields(chassis[0], kChassisFields, system);
    }
    if (systems.size() != 0) {
      ReadIdentities(systems[0], system);
    }
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  };
  return Run("GetHardwareInfoComputerSystem", body);
}

/// False when the operation ends with `code`. A failure of a kind that the client library does not have leaves the
/// list empty.
bool NodeFirmwareInventoryImpCIM::EnumerateChassis(Instances& chassis, Code& code) {
  const bool ofServiceProcessor = info.ConnectionCase == KelvarConnection::CONNECTION_CASE_CIM_BMC;
  const char* const className = ofServiceProcessor ? "QEL_Chassis" : "OMC_Chassis";
  try {
    chassis = Enumerate(className, ofServiceProcessor ? GetStrNamespace() : kUsualNamespace);
    return true;
  } catch (...) {
    const CIMFailure failure = CurrentCIMFailure();
    failure.AddGap("GetNodeFirmwareSystemVPD");
    if (failure.kind == CIMFailure::Other) {
      KELVAR_LOG(4) << "enumerate root/cimv2 for " << className
                    << " in GetNodeFirmwareSystemVPD(), Catch other Exception";
      return true;
    }
    KELVAR_LOG(4) << "enumerate root/cimv2  for " << className
                  << " in GetNodeFirmwareSystemVPD(), Catch other CIM Exception : " << failure.message;
    const bool unauthorized = ofServiceProcessor && failure.message.find("Unauthorized") != std::string::npos;
    code =
        unauthorized ? NodeFirmwareInventory::INVENTORY_UNAUTHORIZED : NodeFirmwareInventory::INVENTORY_CIM_EXCEPTION;
    return false;
  }
}

Code NodeFirmwareInventoryImpCIM::GetNodeFirmwareSystemVPD(NODEFIRMWARESYSTEMVPD& vpd) {
  vpd = {};
  if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_CIM_ESXI) {
    const auto toESXi = [&](Code& code) { code = GetNodeFirmwareSystemVPDESXi(vpd); };
    return RunOperation("NodeFirmwareInventoryImpCIM", "GetNodeFirmwareSystemVPD", CIMClauses<2>, toESXi);
  }
  const auto body = [&](Code& code) {
    Instances chassis;
    if (EnumerateChassis(chassis, code)) {
      code = ReadChassis(chassis, vpd);
    }
  };
  return Run("GetNodeFirmwareSystemVPD", body);
}

Code NodeFirmwareInventoryImpCIM::GetNodeFirmwareSystemVPDESXi(NODEFIRMWARESYSTEMVPD& vpd) {
  const auto body = [&](Code& code) {
    const Instances chassis = Enumerate("QEL_Chassis");
    if (chassis.size() == 0) {
      code = NodeFirmwareInventory::INVENTORY_NO_INSTANCE;
      LogNoInstance("QEL_Chassis");
    } else if (ReadESXiChassis(chassis, vpd)) {
      code = NodeFirmwareInventory::INVENTORY_SUCCESS;
    }
  };
  return Run("GetNodeFirmwareSystemVPDESXi", body);
}

}  // namespace Kelvar
