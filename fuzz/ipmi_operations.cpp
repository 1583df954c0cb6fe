// Whole operations of the IPMI backend over a service processor that answers with any bytes. The first byte chooses
// the operation.

#include <iostream>

#include <kelvar/Log.h>

#include "fuzz/Check.h"
#include "fuzz/StreamIpmi.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"

using namespace Kelvar;

namespace {

using Backend = NodeFirmwareInventoryImpIPMI;

int ListComponents(Backend& backend) {
  std::vector<OtherSystemVPD> list;
  const int code = backend.GetNodeOtherSystemVPD(list);
  FUZZ_CHECK((code == 0) == !list.empty());
  for (const OtherSystemVPD& component : list) {
    FUZZ_CHECK(!component.Name.empty() && component.Name.size() <= 100);
    for (const std::string* text :
         {&component.Manufacturer, &component.FruPartNumber, &component.PartNumber, &component.SerialNumber}) {
      FUZZ_CHECK(!text->empty() && text->size() <= 32);
    }
  }
  return code;
}

int ReadFirmware(Backend& backend) {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  const int code = backend.GetNodeFirmwareBuildID(list);
  FUZZ_CHECK(list.size() == 1);
  FUZZ_CHECK(list[0].uEFIBuildID[23] == 0 && list[0].uEFIBackUpBuildID[23] == 0 && list[0].BMCBuildDate[11] == 0);
  return code;
}

int ReadIdentity(Backend& backend) {
  KelvarAgentless::ComputerSystem system;
  const int code = backend.GetHardwareInfoComputerSystem(system);
  FUZZ_CHECK(system.ProductName.size() <= 7 && system.Manufacturer.size() <= 4);
  FUZZ_CHECK(system.SystemGUID.empty() || system.SystemGUID.size() == 36);
  return code;
}

int ReadSystemVPD(Backend& backend) {
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  return backend.GetNodeFirmwareSystemVPD(vpd);
}

int ReadSoftwareIdentity(Backend& backend) {
  std::vector<KelvarOptions::SoftwareIdentity_> list;
  const int code = backend.GetNFWSoftwareIdentity(list);
  FUZZ_CHECK(list.size() <= 2 && (code != 0 || !list.empty()));
  return code;
}

constexpr int (*kOperations[])(Backend&) = {ListComponents, ReadFirmware, ReadIdentity, ReadSystemVPD,
                                            ReadSoftwareIdentity};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  std::cout.rdbuf(nullptr);  // refused diagnostics queries print
  if (size == 0) {
    return 0;
  }
  const std::span<const u8> stream(data + 1, size - 1);
  Backend backend({}, std::make_unique<Fuzz::StreamIpmi>(stream));
  const int code = kOperations[data[0] % std::size(kOperations)](backend);
  FUZZ_CHECK((code >= 0 && code <= 4) || code == 15);
  return 0;
}
