#include "flow/guest/GuestReadings.h"

#include <locale>
#include <sstream>

#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

std::string Text(double number) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << number;
  return text.str();
}

std::string Firmware(NodeFirmwareInventory& inventory) {
  std::string all;
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  all += std::to_string(inventory.GetNodeFirmwareBuildID(builds));
  for (const auto& build : builds) {
    all.append(build.BMCBuildID).append(build.uEFIBuildID).append(build.uEFIBuildDate);
  }
  return all;
}

}  // namespace

std::array<ConnectionInfo, 3> TargetsOf(const BmcSim& sim) {
  return {LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, sim.Port("redfish")),
          LoopbackInfo(KelvarConnection::CONNECTION_CASE_CIM_BMC, sim.Port("cim")),
          LoopbackInfo(KelvarConnection::CONNECTION_CASE_IPMI_LAN, sim.Port("ipmi"))};
}

std::string ReadFirmware(const ConnectionInfo& target) {
  NodeFirmwareInventory inventory(target);
  return Firmware(inventory);
}

std::string ReadAll(const ConnectionInfo& target) {
  NodeFirmwareInventory inventory(target);
  std::string all = Firmware(inventory);
  std::vector<OtherSystemVPD> components;
  all += std::to_string(inventory.GetNodeOtherSystemVPD(components));
  for (const auto& component : components) {
    all.append(component.Name).append(component.SerialNumber);
  }
  std::vector<KelvarNfw::NUMERICSENSORS> sensors;
  all += std::to_string(inventory.GetZMCNumericSensors(sensors));
  for (const auto& sensor : sensors) {
    all.append(sensor.ElementName).append(Text(sensor.CurrentReading)).append(Text(sensor.UpperThresholdCritical));
  }
  std::vector<KelvarNfw::ZMCSTATICIP> addresses;
  all += std::to_string(inventory.GetZMCStaticIPAddress(addresses));
  std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST> entries;
  all += std::to_string(inventory.GetZMCMessageLogDataRedfish(entries));
  return all;
}

}  // namespace Kelvar::Test
