#include <gmock/gmock.h>

#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;

const Bytes kBMC = {0x01, 0x00};
const Bytes kUEFI = {0x06, 0x00};

/// Identities as "Name/SoftwareID/Description/VersionString".
std::vector<std::string> Shown(const std::vector<KelvarOptions::SoftwareIdentity_>& identities) {
  std::vector<std::string> lines;
  for (const auto& i : identities) {
    EXPECT_EQ(i.IsPLDMUpdateSupported, "0");
    lines.push_back(i.Name + "/" + i.SoftwareID + "/" + i.Description + "/" + i.VersionString);
  }
  return lines;
}

TEST(AMDSoftwareIdentity, ListsBMCAndUEFI) {
  const std::string bmc = "BMC Firmware/BMC//AFB7X12-83.0a";
  const std::string uefi = "UEFI Firmware/UEFI/UEFI Firmware/UFB7X34-1.23";
  const std::string size = "the size response data is invalid expect ";
  const IpmiAnswer deviceID = Reply({0, 0, 0x83, 0x0A});
  const IpmiAnswer buildID = Reply(BytesOf("AFB7X12 and more"));
  const IpmiAnswer uefiInfo = Reply(BytesOf("UFB7X34123"));
  const struct {
    IpmiAnswer deviceID, buildID, uefi;
    int code;
    std::vector<std::string> identities, failures;
  } cases[] = {
      {deviceID, buildID, uefiInfo, 0, {bmc, uefi}, {}},
      {deviceID, buildID, Reply(BytesOf("UFB7X34.....123")), 0, {bmc, uefi}, {}},
      {Reply({0, 0, 3}), buildID, uefiInfo, 0, {uefi}, {size + "4 or larger actually 3"}},
      {NoExchange(0), buildID, uefiInfo, 0, {uefi}, {"IPMI command failed wtih completionCode : 0x0"}},
      {deviceID, Reply(Bytes(6)), uefiInfo, 0, {uefi}, {size + "7 or larger actually 6"}},
      {deviceID, Refuse(0xD5), uefiInfo, 0, {uefi}, {"IPMI command failed wtih completionCode : 0xd5"}},
      {deviceID, buildID, Reply(Bytes(9)), 15, {bmc}, {size + "10 or larger actually 9"}},
      {deviceID, buildID, Refuse(0xC9), 15, {bmc}, {"IPMI command failed wtih completionCode : 0xc9"}},
  };
  for (const auto& c : cases) {
    ScriptedIpmi target;
    target.On(0x06, 0x01, {c.deviceID});
    target.On(0x3C, 0x40, kBMC, {c.buildID});
    target.On(0x3C, 0x40, kUEFI, {c.uefi});
    NodeFirmwareInventoryImpIPMI backend({}, target.Transport());
    const LogCapture log;
    std::vector<KelvarOptions::SoftwareIdentity_> identities;
    EXPECT_EQ(backend.GetNFWSoftwareIdentity(identities), c.code);
    EXPECT_EQ(Shown(identities), c.identities);
    EXPECT_EQ(log.Texts(1), c.failures);
    const bool versionRead = c.deviceID.sent == 0 && c.deviceID.data.size() == 4;
    EXPECT_EQ(target.Sent(0x3C, 0x40), versionRead ? (std::vector<Bytes>{kBMC, kUEFI}) : std::vector<Bytes>{kUEFI});
  }
}

TEST(AMDSoftwareIdentity, AsksWithoutAConnectionAndPassesExceptionsOn) {
  const LogCapture log;
  ScriptedIpmi target;
  target.connectState = IPMICONNECTFAIL;
  target.On(0x06, 0x01, {NoExchange(), Throw("lost")});
  target.On(0x3C, 0x40, {NoExchange()});
  NodeFirmwareInventoryImpIPMI backend({}, target.Transport());
  std::vector<KelvarOptions::SoftwareIdentity_> identities;
  EXPECT_EQ(backend.GetNFWSoftwareIdentity(identities), 15);
  EXPECT_THAT(Shown(identities), ElementsAre());
  EXPECT_THROW(backend.GetNFWSoftwareIdentity(identities), IpmiException);
}

}  // namespace
}  // namespace Kelvar::Test
