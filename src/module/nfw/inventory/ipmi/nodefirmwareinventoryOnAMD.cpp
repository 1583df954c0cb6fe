#include "module/nfw/inventory/ipmi/nodefirmwareinventoryOnAMD.h"

#include <iomanip>
#include <sstream>
#include <utility>

#include "common/text/ByteReader.h"
#include "module/nfw/inventory/ipmi/IpmiExchange.h"

namespace Kelvar {

using KelvarOptions::SoftwareIdentity_;
using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

constexpr std::size_t kBuildIDSize = 7;
constexpr std::size_t kVersionDigits = 3;

// First request byte of the firmware query.
constexpr u8 kSelectBMC = 0x01;
constexpr u8 kSelectUEFI = 0x06;

/// Success when the command went through and its reply holds at least `size` bytes.
Code Check(std::string_view what, const IpmiReply& reply, std::size_t size) {
  if (!reply.Ok()) {
    LogFailedCommand(reply);
    RecordMissing(what, reply);
    return NodeFirmwareInventory::INVENTORY_FAILED;
  }
  if (reply.data.size() < size) {
    LogShortReply(size, reply.data.size());
    RecordUnusable(what);
    return NodeFirmwareInventory::INVENTORY_IPMI_PARAMETER_OUT_OF_RANGE;
  }
  return NodeFirmwareInventory::INVENTORY_SUCCESS;
}

}  // namespace

Code nodefirmwareinventoryOnAMD::GetBMCVersion(IpmiClientInterface& client, std::string& version) {
  const IpmiReply reply = SendCommand(client, kNetFnApplication, kGetDeviceId);
  const Code code = Check("BMC version", reply, 4);
  if (code == NodeFirmwareInventory::INVENTORY_SUCCESS) {
    Text::ByteReader reader(reply.data);
    reader.Skip(2);
    const unsigned revision1 = reader.U8();
    const unsigned revision2 = reader.U8();
    std::ostringstream text;
    text << std::hex << revision1 << '.' << std::setfill('0') << std::setw(2) << revision2;
    version = text.str();
  }
  return code;
}

Code nodefirmwareinventoryOnAMD::GetBMCBuildID(IpmiClientInterface& client, std::string& buildId) {
  const IpmiReply reply = SendCommand(client, kNetFnOemAMD, kQueryFirmwareAMD, {kSelectBMC, 0x00});
  const Code code = Check("BMC build ID", reply, kBuildIDSize);
  if (code == NodeFirmwareInventory::INVENTORY_SUCCESS) {
    buildId = Text::ByteReader(reply.data).String(kBuildIDSize);
  }
  return code;
}

Code nodefirmwareinventoryOnAMD::GetUEFIBuildInfo(IpmiClientInterface& client, std::string& version,
                                                  std::string& buildId) {
  const IpmiReply reply = SendCommand(client, kNetFnOemAMD, kQueryFirmwareAMD, {kSelectUEFI, 0x00});
  const Code code = Check("UEFI firmware", reply, kBuildIDSize + kVersionDigits);
  if (code == NodeFirmwareInventory::INVENTORY_SUCCESS) {
    Text::ByteReader reader(reply.data);
    buildId = reader.String(kBuildIDSize);
    reader.Skip(reader.Remaining() - kVersionDigits);
    version = reader.String(kVersionDigits).insert(1, 1, '.');
  }
  return code;
}

Code nodefirmwareinventoryOnAMD::GetBMCSoftwareIdentity(IpmiClientInterface& client, SoftwareIdentity_& identity) {
  std::string version;
  std::string buildId;
  if (GetBMCVersion(client, version) != NodeFirmwareInventory::INVENTORY_SUCCESS ||
      GetBMCBuildID(client, buildId) != NodeFirmwareInventory::INVENTORY_SUCCESS) {
    return NodeFirmwareInventory::INVENTORY_FAILED;
  }
  identity.Name = "BMC Firmware";
  identity.SoftwareID = "BMC";
  identity.VersionString = buildId + "-" + version;
  return NodeFirmwareInventory::INVENTORY_SUCCESS;
}

Code nodefirmwareinventoryOnAMD::GetUEFISoftwareIdentity(IpmiClientInterface& client, SoftwareIdentity_& identity) {
  std::string version;
  std::string buildId;
  if (GetUEFIBuildInfo(client, version, buildId) != NodeFirmwareInventory::INVENTORY_SUCCESS) {
    return NodeFirmwareInventory::INVENTORY_FAILED;
  }
  identity.Name = "UEFI Firmware";
  identity.SoftwareID = "UEFI";
  identity.Description = "UEFI Firmware";
  identity.VersionString = buildId + "-" + version;
  return NodeFirmwareInventory::INVENTORY_SUCCESS;
}

}  // namespace Kelvar
