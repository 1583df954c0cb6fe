#include "redfish_backend/RedfishBackendFixture.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;

constexpr const char* kNic = "/redfish/v1/Managers/1/EthernetInterfaces/NIC";
constexpr const char* kToHost = "/redfish/v1/Managers/1/EthernetInterfaces/ToHost";
constexpr const char* kDns = "/redfish/v1/Managers/1/NetworkProtocol/Oem/Tavrik/DNS";
constexpr const char* kSnmp = "/redfish/v1/Managers/1/NetworkProtocol/Oem/Tavrik/SNMP";

class RedfishNetworkTest : public RedfishBackendTest {
 protected:
  /// Result code of an operation, and how many rows it leaves.
  using Outcome = std::pair<int, std::size_t>;

  template <class Row>
  std::function<Outcome()> Reading(NodeFirmwareInventoryImpRedfish::INVENTORYRETURNCODE (
      NodeFirmwareInventoryImpRedfish::*operation)(std::vector<Row>&)) {
    return [this, operation] {
      std::vector<Row> rows;
      const int code = (backend.*operation)(rows);
      return Outcome(code, rows.size());
    };
  }

  const std::function<Outcome()> dns = Reading(&NodeFirmwareInventoryImpRedfish::GetZMCDNSSettingData);
  const std::function<Outcome()> endPoints = Reading(&NodeFirmwareInventoryImpRedfish::GetZMCIPProtocolEndPoint);
  const std::function<Outcome()> statics = Reading(&NodeFirmwareInventoryImpRedfish::GetZMCStaticIPAddress);
  const std::function<Outcome()> snmp = Reading(&NodeFirmwareInventoryImpRedfish::GetZMCCommunityString);
};

TEST_F(RedfishNetworkTest, DnsGivesSixRecords) {
  Json(kNic, R"({"FQDN":"bmc.example"})");
  Json(kDns, R"({"IPv4Address1":"10.0.0.1","IPv4Address2":null,"IPv6Address3":""})");
  std::vector<KelvarNfw::ZMCDNSSETTINGDATA> list(2);
  EXPECT_EQ(backend.GetZMCDNSSettingData(list), 0);
  std::vector<std::string> rows;
  for (const auto& record : list) {
    EXPECT_EQ(record.RequestedHostname, "bmc.example");
    rows.push_back(record.ElementName + "=" + record.DNSServerAddresses);
  }
  EXPECT_THAT(rows, ElementsAre("DNS Setting for IPv4Address1=10.0.0.1", "DNS Setting for IPv4Address2=null",
                                "DNS Setting for IPv4Address3=Unknown", "DNS Setting for IPv6Address1=Unknown",
                                "DNS Setting for IPv6Address2=Unknown", "DNS Setting for IPv6Address3="));
  Json(kNic, "{}");
  EXPECT_EQ(backend.GetZMCDNSSettingData(list), 0);
  EXPECT_EQ(list[5].RequestedHostname, "Unknown");
}

TEST_F(RedfishNetworkTest, EndPointsAreCountedAcrossInterfaces) {
  Json(kNic, R"({"IPv4Addresses":[{"Address":"10.0.0.2","AddressOrigin":"DHCP"},{"AddressOrigin":null}],)"
             R"("IPv6Addresses":[{"Address":"fe80::1"}]})");
  Json(kToHost, R"({"IPv4Addresses":[{"Address":"169.254.0.1"}],"IPv6Addresses":[]})");
  std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT> list(1);
  EXPECT_EQ(backend.GetZMCIPProtocolEndPoint(list), 0);
  std::vector<std::string> rows;
  for (const auto& record : list) {
    rows.push_back(record.ElementName + "|" + record.IPAddress + "|" + record.AddressOrigin);
  }
  EXPECT_THAT(rows,
              ElementsAre("IP Protocol Endpoint 1|10.0.0.2|DHCP", "IP Protocol Endpoint 2|Unknown|null",
                          "IP Protocol Endpoint 3|fe80::1|Unknown", "IP Protocol Endpoint 4|169.254.0.1|Unknown"));
}

TEST_F(RedfishNetworkTest, StaticAddressesMakeARowWithEachGateway) {
  std::vector<KelvarNfw::ZMCSTATICIP> list(1);
  const auto rowsOf = [&](const std::string& addresses6, const std::string& gateways) {
    Json(kNic, R"({"IPv4StaticAddresses":[{"Address":"10.0.0.2","AddressOrigin":"Static","Gateway":"10.0.0.1",)"
               R"("SubnetMask":"255.0.0.0"}],"IPv6StaticAddresses":[)" +
                   addresses6 + R"(],"IPv6StaticDefaultGateways":[)" + gateways + "]}");
    Json(kToHost, R"({"IPv4StaticAddresses":[{"Address":"169.254.0.1"}]})");
    EXPECT_EQ(backend.GetZMCStaticIPAddress(list), 0);
    std::vector<std::string> rows;
    for (const auto& row : list) {
      rows.push_back(row.ElementName.substr(34) + "|" + row.IPv4Address + "|" + row.GatewayIPv4Address + "|" +
                     row.SubnetMask + "|" + row.IPv6Address + "|" + row.GatewayIPv6Address + "|" + row.AddressOrigin);
    }
    return rows;
  };
  const std::string nic = "1|10.0.0.2|10.0.0.1|255.0.0.0|||Static";
  EXPECT_THAT(rowsOf(R"({"Address":"fd00::2"},{"Address":"fd00::3"})", R"({"Address":"g1"},{"Address":"g2"})"),
              ElementsAre(nic, "2||||fd00::2|g1|Static", "3|||||g2|Static", "4||||fd00::3|g1|Static", "5|||||g2|Static",
                          "6|169.254.0.1|Unknown|Unknown|||Unknown"));
  EXPECT_THAT(rowsOf(R"({"Address":"fd00::2"})", ""), ElementsAre(nic, "2|169.254.0.1|Unknown|Unknown|||Unknown"));
  EXPECT_EQ(list[0].ElementName, "Static IP Assignment Setting Data 1");
}

TEST_F(RedfishNetworkTest, CommunityGivesOneRecord) {
  std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING> list(3);
  Json(kSnmp, R"({"Name":"SNMP Protocol"})");
  EXPECT_EQ(backend.GetZMCCommunityString(list), 0);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].ElementName, "SNMP Protocol");
  Json(kSnmp, "{}");
  EXPECT_EQ(backend.GetZMCCommunityString(list), 0);
  EXPECT_EQ(list[0].ElementName, "Unknown");
}

/// Each operation with its resources broken in turn: code, rows that stay, and the line that tells.
TEST_F(RedfishNetworkTest, FailuresTellTheirResource) {
  const std::string nic = R"({"IPv4Addresses":[{}],"IPv6Addresses":[],"IPv4StaticAddresses":[{}],)"
                          R"("IPv6StaticAddresses":[],"IPv6StaticDefaultGateways":[]})";
  const struct {
    std::function<Outcome()> operation;
    const char* broken;
    std::size_t rows;
    const char* line;
  } cases[] = {
      {dns, kNic, 0, "Failed to read rest_url_host overview info with error is: "},
      {dns, kDns, 0, "Failed to read url_dns overview info with error is: "},
      {endPoints, kNic, 0, "Failed to read url_nic overview info with error is: "},
      {endPoints, kToHost, 1, "Failed to read url_host overview info with error is: "},
      {statics, kNic, 0, "Failed to read url_nic overview info with error is: "},
      {statics, kToHost, 1, "Failed to read url_host overview info with error is: "},
      {snmp, kSnmp, 0, "Failed to read url_snmp overview info with error is: "},
  };
  for (const auto& one : cases) {
    for (const char* path : {kNic, kToHost}) {
      Json(path, nic);
    }
    Json(kDns, "{}");
    Json(one.broken, "[");
    const LogCapture log;
    EXPECT_EQ(one.operation(), Outcome(10, one.rows)) << one.line;
    EXPECT_THAT(log.Texts(1), ElementsAre(testing::StartsWith(one.line)));
    Status(one.broken, 401);
    EXPECT_EQ(one.operation(), Outcome(13, one.rows)) << one.line;
  }
}

TEST_F(RedfishNetworkTest, StaticAddressesNeedAllThreeArraysBeforeTheFirstRow) {
  const LogCapture log;
  Json(kNic, R"({"IPv4StaticAddresses":[{}],"IPv6StaticAddresses":[]})");
  EXPECT_EQ(statics(), Outcome(10, 0));
  EXPECT_TRUE(log.Contains("No such node (IPv6StaticDefaultGateways)"));
}

}  // namespace
}  // namespace Kelvar::Test
