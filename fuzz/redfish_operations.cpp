// Every operation of the Redfish backend, against a service that answers with the pieces of the input, which are
// separated by bytes of 0xFF, in turn.

#include <memory>
#include <vector>

#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include "fuzz/CannedRest.h"
#include "fuzz/Check.h"
#include "module/nfw/inventory/BackendFactory.h"
#include "module/nfw/inventory/redfish/RedfishLog.h"
#include "tests/support/FixedOperations.h"

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
  return code == 0 || code == 10 || code == 12 || code == 15;
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
  BackendFactory parts;
  parts.primaryBackend =
      std::make_unique<NodeFirmwareInventoryImpRedfish>(info, std::make_unique<Fuzz::CannedRest>(answer));
  auto& backend = static_cast<NodeFirmwareInventoryImpRedfish&>(*parts.primaryBackend);
  const auto inventory = BackendFactory::MakeFacade(std::move(parts));
  const auto fromStart = [&](int code) {
    next = 0;
    FUZZ_CHECK(IsCode(code));
  };
  for (const Test::FixedOperation& operation : Test::kFixedOperations) {
    if (operation.AsksBackend()) {
      fromStart(operation.call(*inventory).result);
    }
  }
  SystemBoardVPD board;
  std::vector<BackPlaneVPD> backPlanes;
  std::map<std::string, KelvarOptions::SoftwareIdentity_> firmware;
  fromStart(backend.GetSystemBoardVPD(board));
  fromStart(backend.GetBackPlaneVPD(backPlanes));
  fromStart(backend.GetFirmware(firmware) ? 0 : 10);
  std::vector<MAINTLOGREDFISHDATA> maintenance;
  try {
    AppendLogEntries(bodies[0], false, maintenance);
  } catch (const boost::property_tree::ptree_error&) {
  }
  return 0;
}
