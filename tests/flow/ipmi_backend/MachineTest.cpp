// Whole operations, from the facade over RMCP+ to the simulated machine.

#include <gmock/gmock.h>

#include <kelvar/NodeFirmwareInventory.h>

#include "support/BmcSim.h"
#include "support/LogCapture.h"
#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

/// One machine with faults, and a facade on it.
class Target {
 public:
  Target(const std::string& machine, const std::vector<std::string>& faults)
      : sim_(machine, Arguments(faults)), inventory_(Connection()) {}
  NodeFirmwareInventory* operator->() { return &inventory_; }

 private:
  static std::vector<std::string> Arguments(const std::vector<std::string>& faults) {
    std::vector<std::string> arguments{"--serve", "ipmi"};
    for (const std::string& fault : faults) {
      arguments.insert(arguments.end(), {"--fault", "ipmi:" + fault});
    }
    return arguments;
  }

  KelvarConnection::ConnectionInfo Connection() const {
    auto info = LoopbackInfo(KelvarConnection::CONNECTION_CASE_IPMI_LAN, sim_.Port("ipmi"));
    info.RemoteSessionArgument = 17;
    return info;
  }

  BmcSim sim_;
  NodeFirmwareInventory inventory_;
};

struct Case {
  const char* name;
  const char* machine;
  std::vector<std::string> faults;
  int code;
  std::vector<std::string> shown;
};

using Operation = std::vector<std::string> (*)(Target& target, int& code);

void Check(const std::vector<Case>& cases, Operation operation) {
  const LogCapture log(1);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Target target(c.machine, c.faults);
    int code = -1;
    testing::internal::CaptureStdout();
    const std::vector<std::string> shown = operation(target, code);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(code, c.code);
    EXPECT_EQ(shown, c.shown);
  }
}

std::vector<std::string> Firmware(Target& target, int& code) {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  code = target->GetNodeFirmwareBuildID(builds);
  std::vector<std::string> lines;
  for (const auto& b : builds) {
    for (const auto& [build, date] : {std::pair<const char*, const char*>{b.BMCBuildID, b.BMCBuildDate},
                                      {b.BMCBackUpBuildID, b.BMCBackUpBuildDate},
                                      {b.uEFIBuildID, b.uEFIBuildDate},
                                      {b.uEFIBackUpBuildID, b.uEFIBackUpBuildDate},
                                      {b.QDGpBuildID, b.QDGpBuildIDDate}}) {
      lines.push_back(build + std::string(" ") + date);
    }
  }
  return lines;
}

TEST(IpmiMachine, Firmware) {
  const std::string bmc = "TBC128K-2.45 2026-03-14";
  const std::string backUp = "TBC119H-2.31 2025-11-02";
  const std::string uefi = "TBE207M-3.10 2026-02-20";
  const std::string uefiBackUp = "TBE198L-3.02 2025-10-09";
  const std::string diagnostics = "QDG112C-4.07 2026-01-30";
  Check({{"full", "full", {}, 0, {bmc, backUp, uefi, uefiBackUp, diagnostics}},
         {"first generation", "full", {"first-generation"}, 0, {bmc, " ", uefi, uefiBackUp, diagnostics}},
         {"short paths",
          "full",
          {"short-paths"},
          0,
          {bmc, "NULL----NULL NULL---", uefi, uefiBackUp, "NULL----NULL NULL------"}},
         {"short build info", "full", {"short-build-info"}, 0, {"2.45 ", backUp, uefi, uefiBackUp, diagnostics}},
         // No diagnostics version, a UEFI build ID that runs into its date, escape sequences kept as they are.
         {"awkward",
          "awkward",
          {},
          0,
          {"17.0. ", "NULL----2.31 NULL---", "TBE-EARLY-SAMPLE-000172 2026-02-30", "\x1B[31mTBE001-0.9            ",
           "QDG112C- 2026-01-30"}}},
        Firmware);
}

std::vector<std::string> Identity(Target& target, int& code) {
  KelvarAgentless::ComputerSystem s;
  code = target->GetHardwareInfoComputerSystem(s);
  return {s.ProductName, s.SerialNumber, s.Manufacturer, s.SystemGUID};
}

TEST(IpmiMachine, Identity) {
  Check({{"full", "full", {}, 0, {"7K40", "KV4A017", "TVRK", "6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41"}},
         {"awkward", "awkward", {}, 0, {"7K4", "KV4B002", "TVRK", "00112233-4455-6677-8899-aabbccddeeff"}}},
        Identity);
}

std::vector<std::string> SystemVPD(Target& target, int& code) {
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  code = target->GetNodeFirmwareSystemVPD(vpd);
  return {vpd.MachineType, vpd.SerialNumber};
}

TEST(IpmiMachine, SystemVPD) {
  Check({{"VPD store", "full", {}, 0, {"7K40", "KV4A017"}},
         {"FRU device", "full", {"no-vpd"}, 0, {"7K40", "KV4A017"}},
         {"no OEM commands", "amd", {}, 0, {"7K61", "KV6A003"}}},
        SystemVPD);
}

std::vector<std::string> Components(Target& target, int& code) {
  std::vector<OtherSystemVPD> list;
  code = target->GetNodeOtherSystemVPD(list);
  std::vector<std::string> lines;
  for (const OtherSystemVPD& c : list) {
    lines.push_back(c.Name + "|" + c.Manufacturer + "|" + c.FruPartNumber + "|" + c.PartNumber + "|" + c.SerialNumber);
  }
  return lines;
}

const std::vector<std::string> kFullMachine = {
    "System Board|Tavrik|01KV700|KP57-02551|KVB93A01A",
    "Power Supply 1|Ohmsten|01KV800|KP57-02023|OHM70AA1",
    "Power Supply 2|Ohmsten|01KV800|KP57-02023|OHM70AA2",
    "Backplane 1|Tavrik|01KV710|KP57-12040|KVB93B114",
    "CPU Board|Tavrik|01KV202|KP57-44002|KVB93ECB0001",
    "CPU Heatsink| | | | ",
    "Memory Card 1|Tavrik|01KV204|KP57-44004|KVB93EMC0012",
    "PCI Riser 1|Tavrik|01KV730|KP57-31101|KVB93D007",
    "Mezzanine Card| | | | ",
    "QVL8 Adapter|Tavrik|01KV206|KP57-44006|KVB93EQV0001",
};

TEST(IpmiMachine, Components) {
  Check({{"full", "full", {}, 0, kFullMachine}, {"only a FRU device", "amd", {}, 0, {"System Board| | | | "}}},
        Components);
}

std::vector<std::string> SoftwareIdentities(Target& target, int& code) {
  std::vector<KelvarOptions::SoftwareIdentity_> list;
  code = target->GetNFWSoftwareIdentity(list);
  std::vector<std::string> lines;
  for (const auto& identity : list) {
    lines.push_back(identity.SoftwareID + " " + identity.VersionString);
  }
  return lines;
}

TEST(IpmiMachine, AMDSoftware) {
  const std::string bmc = "BMC AMB114E-3.1a";
  const std::string uefi = "UEFI AME206C-2.07";
  Check({{"both", "amd", {}, 0, {bmc, uefi}}},

        SoftwareIdentities);
}

}  // namespace
}  // namespace Kelvar::Test
