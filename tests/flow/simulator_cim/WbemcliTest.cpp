// A foreign client reads the simulator.

#include <array>
#include <cstdio>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/simulator_cim/CimWire.h"
#include "simulator/machine/Variables.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

/// What wbemcli prints, standard error included.
std::string Wbemcli(const CimHost& host, const std::string& what, const std::string& object,
                    const std::string& login = "admin:kelvar-demo", const std::string& scheme = "http") {
  const std::string command = "timeout 10 wbemcli " + what + " '" + scheme + "://" + login +
                              "@127.0.0.1:" + std::to_string(host.Port()) + "/" + object + "' 2>&1";
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  std::array<char, 4096> buffer{};
  for (std::size_t got = 1; pipe != nullptr && got > 0;) {
    got = fread(buffer.data(), 1, buffer.size(), pipe);
    output.append(buffer.data(), got);
  }
  if (pipe != nullptr) {
    pclose(pipe);
  }
  return output;
}

std::string Fact(const std::string& text) {
  return Simulator::Variables::Load(ShippedMachine("full").folder / "machine.json").Expand(text);
}

TEST(Wbemcli, ReadsInstancesWithTypedProperties) {
  CimHost host;
  const std::string listed = Wbemcli(host, "ei -nl", "root/cimv2:CIM_NumericSensor");
  EXPECT_THAT(listed, HasSubstr(R"(QEL_NumericSensor.CreationClassName="QEL_NumericSensor",DeviceID="1.1.1")"));
  EXPECT_THAT(listed, HasSubstr("-DeviceID=\"1.2.4\"\n-ElementName=\"System VBAT\""));
  EXPECT_THAT(listed, HasSubstr("-UnitModifier=-3\n-CurrentReading=2871"));
  EXPECT_THAT(listed, HasSubstr("-IsLinear=TRUE"));
  EXPECT_THAT(listed, HasSubstr("-OperationalStatus=2"));
}

TEST(Wbemcli, ReadsNamesOneInstanceAndReferences) {
  CimHost host;
  EXPECT_THAT(Wbemcli(host, "ein", "root/cimv2:CIM_Chassis"),
              HasSubstr(R"(:QEL_Chassis.CreationClassName="QEL_Chassis",Tag="Chassis 1")"));
  const std::string one = Wbemcli(host, "gi -nl", R"(root/cimv2:QEL_SoftwareIdentity.InstanceID="QEL:UEFI")");
  EXPECT_THAT(one, HasSubstr("-ReleaseDate=20"));
  EXPECT_THAT(one, HasSubstr("000000.000000+000\n"));
  EXPECT_THAT(one, HasSubstr("-VersionString=\"" + Fact("${firmware.UEFI.build}-${firmware.UEFI.version}") + '"'));
  EXPECT_THAT(one, HasSubstr(R"(-IdentityInfoType="QEL:Build","QEL:Version")"));
  EXPECT_THAT(Wbemcli(host, "ei -nl", "root/cimv2:CIM_ElementSoftwareIdentity"),
              HasSubstr(R"(-Antecedent=QEL_SoftwareIdentity.InstanceID="QEL:ZMC2")"));
}

TEST(Wbemcli, ReadsClasses) {
  CimHost host;
  EXPECT_THAT(Wbemcli(host, "gcd", "root/cimv2:CIM_IndicatorLED"),
              HasSubstr("<CLASS NAME=\"CIM_IndicatorLED\" SUPERCLASS=\"CIM_LogicalDevice\">"));
  EXPECT_THAT(Wbemcli(host, "ecn", "root/cimv2"), HasSubstr(":CIM_ManagedElement"));
}

TEST(Wbemcli, ReadsTheNamespaceOfAnHost) {
  CimHost host;
  EXPECT_THAT(Wbemcli(host, "ei -nl", "qel/zmc1/cimv2:CIM_Chassis"), HasSubstr("-UUID=\"" + Fact("${uuid}")));
}

TEST(Wbemcli, ReadsOverTls) {
  CimHost host({.tls = true});
  EXPECT_THAT(Wbemcli(host, "ei -nl -noverify", "root/cimv2:CIM_SNMPCommunityString", "admin:kelvar-demo", "https"),
              HasSubstr("-ElementName=\"datacentre\""));
}

TEST(Wbemcli, IsToldWhatWentWrong) {
  CimHost host;
  // with and without chunks and trailers
  for (const std::string option : {"", "-cte "}) {
    EXPECT_THAT(Wbemcli(host, "ei " + option, "root/cimv2:CIM_Nowhere"), HasSubstr("(5) CIM_ERR_INVALID_CLASS"));
    EXPECT_THAT(Wbemcli(host, "ei " + option, "root/nowhere:CIM_Chassis"), HasSubstr("(3) CIM_ERR_INVALID_NAMESPACE"));
    EXPECT_THAT(Wbemcli(host, "gi " + option, R"(root/cimv2:QEL_SoftwareIdentity.InstanceID="none")"),
                HasSubstr("(6) CIM_ERR_NOT_FOUND"));
    EXPECT_THAT(Wbemcli(host, "ain " + option, R"(root/cimv2:QEL_SoftwareIdentity.InstanceID="QEL:UEFI")"),
                HasSubstr("(7) CIM_ERR_NOT_SUPPORTED"));
    EXPECT_THAT(Wbemcli(host, "ein " + option, "root/cimv2:CIM_Chassis", "admin:wrong"),
                HasSubstr("Invalid username/password"));
  }
}

TEST(Wbemcli, GetsTheSameInChunks) {
  CimHost host({.counts = {{"QEL_StandardMessageLogEntry", 200}}});
  const std::string whole = Wbemcli(host, "ei", "root/cimv2:CIM_LogEntry");
  EXPECT_THAT(whole, HasSubstr("QEL:S:8 #200"));
  EXPECT_EQ(whole, Wbemcli(host, "ei -cte", "root/cimv2:CIM_LogEntry"));
}

}  // namespace
}  // namespace Kelvar::Test
