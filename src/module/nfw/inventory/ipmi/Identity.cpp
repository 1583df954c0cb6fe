#include <algorithm>
#include <string>
#include <string_view>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/ipmi/IpmiExchange.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareSysVPDViaFRU.h"

namespace Kelvar {

using KelvarAgentless::ComputerSystem;
using KelvarNfw::NODEFIRMWARESYSTEMVPD;
using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

/// A place in the VPD store.
struct VPDField {
  std::string_view what;
  u8 location[2];
  u8 size;
};

constexpr VPDField kMachineType{"machine type", {0x0E, 0x00}, 7};
constexpr VPDField kSerialNumber{"serial number", {0x15, 0x00}, 7};
constexpr VPDField kManufacturer{"manufacturer", {0x60, 0x00}, 4};
constexpr VPDField kSystemUUID{"system UUID", {0x9F, 0x00}, 16};
/// Machine type, serial number and what follows them.
constexpr VPDField kMachineTypeOn{"machine type and serial number", {0x0E, 0x00}, 30};

IpmiReply ReadVPDField(IpmiClientInterface& client, const VPDField& field) {
  return SendCommand(client, kNetFnOem, kReadVPD, {field.location[0], field.location[1], 0x10, field.size});
}

void RecordIncomplete(const VPDField& field, const IpmiReply& reply) {
  if (reply.completionCode != 0) {
    RecordMissing(field.what, reply);
  } else if (reply.data.size() < field.size) {
    RecordUnusable(field.what);
  }
}

/// The next `size` bytes, or those that are left.
std::string TakeUpTo(Text::ByteReader& reader, std::size_t size) {
  return reader.String(std::min(size, reader.Remaining()));
}

/// The field as text, as far as the reply reaches; false when the target refused. Only the completion code counts.
bool ReadVPDText(IpmiClientInterface& client, const VPDField& field, std::string& text) {
  const IpmiReply reply = ReadVPDField(client, field);
  RecordIncomplete(field, reply);
  Text::ByteReader reader(reply.data);
  text = TakeUpTo(reader, field.size);
  text.resize(std::min(text.find('\0'), text.size()));
  return reply.completionCode == 0;
}

/// The bytes as they come, in the form 8-4-4-4-12; empty when there are too few.
bool ReadSystemUUID(IpmiClientInterface& client, std::string& text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const IpmiReply reply = ReadVPDField(client, kSystemUUID);
  RecordIncomplete(kSystemUUID, reply);
  Text::ByteReader reader(reply.data);
  for (const u8 byte : reader.Bytes(kSystemUUID.size)) {
    if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23) {
      text.push_back('-');
    }
    text.append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0x0F]);
  }
  return reply.completionCode == 0;
}

bool ReadIdentity(IpmiClientInterface& client, ComputerSystem& read) {
  KELVAR_LOG(4) << "entering buildNodeHardwareInfo1";
  if (!ReadVPDText(client, kMachineType, read.ProductName)) {
    return false;
  }
  KELVAR_LOG(3) << "MachineType of remote system:" << read.ProductName;
  if (!ReadVPDText(client, kSerialNumber, read.SerialNumber)) {
    return false;
  }
  KELVAR_LOG(3) << "Serial Number of remote system:" << read.SerialNumber;
  if (!ReadVPDText(client, kManufacturer, read.Manufacturer)) {
    return false;
  }
  KELVAR_LOG(3) << "Manufacturer of remote system: " << read.Manufacturer;
  if (!ReadSystemUUID(client, read.SystemGUID)) {
    return false;
  }
  KELVAR_LOG(3) << "System UUID of remote system:" << read.SystemGUID;
  return true;
}

}  // namespace

Code NodeFirmwareInventoryImpIPMI::GetHardwareInfoComputerSystem(ComputerSystem& system) {
  return Run("GetHardwareInfoComputerSystem", [&](Code& code) {
    ComputerSystem read;
    if (!ReadIdentity(*client_, read)) {
      return;
    }
    system.ProductName = std::move(read.ProductName);
    system.Manufacturer = std::move(read.Manufacturer);
    system.SerialNumber = std::move(read.SerialNumber);
    system.SystemGUID = std::move(read.SystemGUID);
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

Code NodeFirmwareInventoryImpIPMI::GetNodeFirmwareSystemVPD(NODEFIRMWARESYSTEMVPD& vpd) {
  const auto query = [&](Code& code) {
    vpd = {};
    ZMCGENERATIONTYPE generation = NodeFirmwareInventory::ZMC_GENERATION_1;
    const Code known = GetZMCGenerationType(generation);
    const bool readsVPD =
        known == NodeFirmwareInventory::INVENTORY_SUCCESS && generation == NodeFirmwareInventory::ZMC_GENERATION_2;
    if (readsVPD && IPMIReadVPD(vpd) == NodeFirmwareInventory::INVENTORY_SUCCESS) {
      code = NodeFirmwareInventory::INVENTORY_SUCCESS;
      return;
    }
    code = GetNodeFirmwareSystemVPDViaFRU(vpd);
    if (code == NodeFirmwareInventory::INVENTORY_CONNECT_FAILED) {
      KELVAR_LOG(4) << "Try GetNodeFirmwareSystemVPDViaFRU(), connection fail";
    }
  };
  return Run("GetNodeFirmwareSystemVPD", query,
             [](Code code) { return "Exiting buildNodeFirmwareSystemVPD,ret =" + std::to_string(code); });
}

Code NodeFirmwareInventoryImpIPMI::IPMIReadVPD(NODEFIRMWARESYSTEMVPD& vpd) {
  return RunUncaught("IPMIReadVPD", [&](Code& code) {
    if (!client_) {
      return;
    }
    const IpmiReply reply = ReadVPDField(*client_, kMachineTypeOn);
    if (!reply.Ok()) {
      LogFailedCommand(reply);
      code = CodeOfCompletion(reply.completionCode);
      return;
    }
    if (reply.data.empty()) {
      return;
    }
    for (const u8 byte : reply.data) {
      KELVAR_LOG(4) << "buildNodeFirmwareSystemVPD = " << std::hex << int{byte};
    }
    Text::ByteReader reader(reply.data);
    Text::CopyFixed(vpd.MachineType, TakeUpTo(reader, kMachineType.size));
    Text::CopyFixed(vpd.SerialNumber, TakeUpTo(reader, kSerialNumber.size));
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

Code NodeFirmwareInventoryImpIPMI::GetNodeFirmwareSystemVPDViaFRU(NODEFIRMWARESYSTEMVPD& vpd) {
  return RunUncaught("GetNodeFirmwareSystemVPDViaFRU", [&](Code& code) {
    if (!connected_) {
      code = NodeFirmwareInventory::INVENTORY_CONNECT_FAILED;
      return;
    }
    if (NodeFirmwareSysVPDViaFRU().GetSystemVPD(*client_, vpd) != 0) {
      return;
    }
    KELVAR_LOG(3) << " Get Current Machine Type : " << Text::FixedView(vpd.MachineType);
    KELVAR_LOG(3) << " Get Current Serial Number : " << Text::FixedView(vpd.SerialNumber);
    code = NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

}  // namespace Kelvar
