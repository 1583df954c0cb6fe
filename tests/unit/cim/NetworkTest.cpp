#include <algorithm>

#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Network : public CimFixture {
 protected:
  void On(const std::string& className, const std::vector<std::vector<CimProperty>>& instances) {
    std::string xml;
    for (const auto& properties : instances) {
      xml += CimInstanceXml(className, properties);
    }
    server.OnClass(className, xml);
  }
};

TEST_F(Network, DnsServersAreJoinedAndRecordsAppended) {
  On("CIM_DNSSettingData", {{{"ElementName", "string", "DNS"},
                             {"DNSServerAddresses", "string[]", "[10.0.0.1|10.0.0.2|::1]"},
                             {"RequestedHostname", "string", "bmc"}},
                            {{"DNSServerAddresses", "string[]", "[10.0.0.9]"}},
                            {{"DNSServerAddresses", "string", "10.0.0.8"}},
                            {{"DNSServerAddresses", "string[]", std::nullopt}},
                            {}});
  LogCapture log;
  const auto facade = Facade();
  std::vector<KelvarNfw::ZMCDNSSETTINGDATA> list;
  ASSERT_EQ(facade->GetZMCDNSSettingData(list), 0);
  std::vector<std::string> shown;
  for (const auto& r : list) {
    shown.push_back(std::to_string(r.ZMCIndex) + "/" + r.ElementName + "/" + r.DNSServerAddresses + "/" +
                    r.RequestedHostname);
  }
  EXPECT_THAT(shown, ElementsAre("2/DNS/10.0.0.1,10.0.0.2,::1/bmc", "2//10.0.0.9/", "2///", "2///", "2///"));
  EXPECT_TRUE(log.Has(4, "No DNSServerAddress property"));
  EXPECT_TRUE(log.Has(4, "No RequestHostName property"));
  ASSERT_EQ(facade->GetZMCDNSSettingData(list), 0);
  EXPECT_EQ(list.size(), 10U);
}

TEST_F(Network, EndPointsPickTheAddressOfTheirProtocol) {
  const CimProperty v4{"IPv4Address", "string", "10.0.0.5"};
  const CimProperty v6{"IPv6Address", "string", "fe80::1"};
  On("CIM_IPProtocolEndpoint",
     {{{"ElementName", "string", "a"}, {"AddressOrigin", "uint16", "3"}, {"ProtocolIFType", "uint16", "4096"}, v4, v6},
      {{"ElementName", "string", "b"}, {"ProtocolIFType", "uint16", "4097"}, v4, v6},
      {{"ElementName", "string", "c"}, {"ProtocolIFType", "uint16", "1"}, v4, v6},
      {{"ElementName", "string", "d"}, {"ProtocolIFType", "string", "x4096"}, v4},
      {{"ElementName", "string", "e"}, v4},
      {{"ElementName", "string", "f"}, {"ProtocolIFType", "uint16", "4096"}}});
  LogCapture log;
  std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT> list(1);
  ASSERT_EQ(Facade()->GetZMCIPProtocolEndPoint(list), 0);
  std::vector<std::string> shown;
  for (const auto& r : list) {
    shown.push_back(r.ElementName + "/" + r.AddressOrigin + "/" + r.IPAddress);
  }
  EXPECT_THAT(shown,
              ElementsAre("a/3/10.0.0.5", "b/3/fe80::1", "c/3/fe80::1", "d/3/fe80::1", "e/3/fe80::1", "f/3/fe80::1"));
  EXPECT_TRUE(log.Has(4, "No ProtocolIFType property"));
  EXPECT_TRUE(log.Has(4, "No IPv4Address property"));
}

std::vector<std::string> Shown(const std::vector<KelvarNfw::ZMCSTATICIP>& list) {
  std::vector<std::string> shown;
  for (const auto& r : list) {
    shown.push_back(r.ElementName + "/" + r.AddressOrigin + "/" + r.IPv4Address + "/" + r.GatewayIPv4Address + "/" +
                    r.IPv6Address + "/" + r.GatewayIPv6Address + "/" + r.SubnetMask);
  }
  return shown;
}

TEST_F(Network, StaticAddressesComeFromTwoClasses) {
  On("CIM_StaticIPAssignmentSettingData", {{{"ElementName", "string", "v4"},
                                            {"AddressOrigin", "uint16", "3"},
                                            {"IPv4Address", "string", "10.0.0.5"},
                                            {"GatewayIPv4Address", "string", "10.0.0.1"},
                                            {"SubnetMask", "string", "255.0.0.0"}},
                                           {{"IPv4Address", "string", "10.0.0.6"}}});
  On("CIM_ExtendedStaticIPAssignmentSettingData",
     {{{"IPAddresses", "string[]", "[fe80::1|fe80::2]"}, {"GatewayAddresses", "string", "fe80::f"}}});
  LogCapture log;
  const auto facade = Facade();
  std::vector<KelvarNfw::ZMCSTATICIP> list(1);
  ASSERT_EQ(facade->GetZMCStaticIPAddress(list), 0);
  EXPECT_THAT(Shown(list), ElementsAre("v4/3/10.0.0.5/10.0.0.1///255.0.0.0", "v4/3/10.0.0.6/10.0.0.1///255.0.0.0",
                                       "v4/3///fe80::1 fe80::2 /fe80::f/255.0.0.0"));
  EXPECT_TRUE(log.Has(4, "No SubnetMask property"));
  const auto texts = log.Texts(4);
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "Push back BMCIPs instance to vector"), 2) << "of the first class";

  server.OnClassError("CIM_ExtendedStaticIPAssignmentSettingData", 1, "broken");
  EXPECT_EQ(facade->GetZMCStaticIPAddress(list), 9);
  EXPECT_EQ(list.size(), 2U) << "those of the first walk stay";
  server.OnClass("CIM_ExtendedStaticIPAssignmentSettingData", "");
  EXPECT_EQ(facade->GetZMCStaticIPAddress(list), 0);
  EXPECT_TRUE(log.Has(4, "CIM_ExtendedStaticIPAssignmentSettingData has no instance under namespace  = root/cimv2"));

  On("CIM_StaticIPAssignmentSettingData", {});
  const std::size_t before = Asked().size();
  EXPECT_EQ(facade->GetZMCStaticIPAddress(list), 7);
  EXPECT_THAT(list, IsEmpty());
  EXPECT_EQ(Asked().size(), before + 1) << "the second class is not asked for";
}

TEST_F(Network, CommunityStringsRepeatTheNameThatIsMissing) {
  On("CIM_SNMPCommunityString", {{{"ElementName", "string", "public"}}, {}});
  LogCapture log;
  std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING> list(1);
  ASSERT_EQ(Facade()->GetZMCCommunityString(list), 0);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].ElementName + list[1].ElementName, "publicpublic");
  EXPECT_TRUE(log.Has(4, "No ElementName property"));
}

}  // namespace
}  // namespace Kelvar::Test
