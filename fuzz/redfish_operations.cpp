// Every operation of the Redfish backend, against a service that answers with the pieces of the input, which are
// separated by bytes of 0xFF, in turn.

#include <memory>
#include <vector>

#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "fuzz/CannedRest.h"
#include "fuzz/Check.h"
#include "module/nfw/inventory/redfish/RedfishLog.h"

using namespace Kelvar;

namespace {

std::vector<std::string> Split(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> pieces(1);
  for (std::size_t index = 0; index < size; ++index) {
    if (data[index] == 0xFF) {
      pieces.emplace_back();
    } else {
      pieces.back().push_back(static_cast<char>(data[index]));
    }
  }
  return pieces;
}

bool IsCode(int code) {
  return code == 0 || code == 10 || code == 15;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  const std::vector<std::string> bodies = Split(data, size);
  std::size_t next = 0;
  const auto answer = [&](const std::string& url) {
    FUZZ_CHECK(url.rfind("https://bmc:443/", 0) == 0);
    return Rest::RestResponse(0, 200, bodies[next++ % bodies.size()]);
  };
  KelvarConnection::ConnectionInfo info;
  info.Host = "bmc";
  info.Port = 443;
  NodeFirmwareInventoryImpRedfish backend(info, std::make_unique<Fuzz::CannedRest>(answer));

  KelvarAgentless::ComputerSystem system;
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  SystemBoardVPD board;
  std::vector<BackPlaneVPD> backPlanes;
  std::vector<OtherSystemVPD> components;
  std::vector<KelvarNfw::NUMERICSENSORS> sensors;
  std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST> entries;
  std::vector<KelvarNfw::ZMCDNSSETTINGDATA> dns;
  std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT> endPoints;
  std::vector<KelvarNfw::ZMCSTATICIP> statics;
  std::map<std::string, KelvarOptions::SoftwareIdentity_> firmware;
  const auto fromStart = [&](int code) {
    next = 0;
    FUZZ_CHECK(IsCode(code));
  };
  fromStart(backend.GetHardwareInfoComputerSystem(system));
  fromStart(backend.GetNodeFirmwareSystemVPD(vpd));
  fromStart(backend.GetSystemBoardVPD(board));
  fromStart(backend.GetBackPlaneVPD(backPlanes));
  fromStart(backend.GetNodeOtherSystemVPD(components));
  fromStart(backend.GetZMCNumericSensors(sensors));
  fromStart(backend.GetZMCMessageLogData(entries));
  fromStart(backend.GetZMCDNSSettingData(dns));
  fromStart(backend.GetZMCIPProtocolEndPoint(endPoints));
  fromStart(backend.GetZMCStaticIPAddress(statics));
  fromStart(backend.GetFirmware(firmware) ? 0 : 10);
  std::vector<MAINTLOGREDFISHDATA> maintenance;
  try {
    AppendLogEntries(bodies[0], false, maintenance);
  } catch (const boost::property_tree::ptree_error&) {
  }
  return 0;
}
