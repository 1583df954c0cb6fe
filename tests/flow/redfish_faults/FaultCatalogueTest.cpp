// What a caller gets when a service processor misbehaves: each row of the catalogue is a fault of the simulator, an
// operation, and the result and the number of records that it has to give.

#include <kelvar/GlobalConfig.h>
#include <kelvar/NodeFirmwareInventory.h>

#include <algorithm>
#include <map>

#include <gtest/gtest.h>

#include "simulator/machine/JsonFile.h"
#include "simulator/redfish/RedfishService.h"
#include "support/LogCapture.h"

namespace Kelvar::Test {
namespace {

struct Outcome {
  int result;
  std::size_t records;
  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
  *stream << "result " << outcome.result << ", records " << outcome.records;
}

using Operation = Outcome (*)(NodeFirmwareInventory& target);

/// An operation that fills a list.
template <auto operation, class Record>
Outcome List(NodeFirmwareInventory& target) {
  std::vector<Record> list;
  const int result = (target.*operation)(list);
  return {result, list.size()};
}

Outcome Identity(NodeFirmwareInventory& target) {
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  const int result = target.GetNodeFirmwareSystemVPD(vpd);
  return {result, vpd.MachineType[0] != '\0' ? 1U : 0U};
}

Outcome System(NodeFirmwareInventory& target) {
  KelvarAgentless::ComputerSystem system;
  const int result = target.GetHardwareInfoComputerSystem(system);
  return {result, system.SerialNumber.empty() ? 0U : 1U};
}

/// Counts the components that have a build ID.
Outcome Firmware(NodeFirmwareInventory& target) {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  const int result = target.GetNodeFirmwareBuildID(list);
  const auto& all = list.at(0);
  const char* builds[] = {all.BMCPVQBuildID, all.BMCPVQBackUpBuildID, all.uEFIBuildID, all.WRBpBuildID,
                          all.DRVWNpBuildID, all.DRVLNpBuildID,       all.SorelBuildID};
  const auto filled = std::count_if(std::begin(builds), std::end(builds), [](const char* id) { return *id != '\0'; });
  return {result, static_cast<std::size_t>(filled)};
}

using Inventory = NodeFirmwareInventory;
using LogEntry = KelvarNfw::ZMCMESSAGELOGDATAREST;

const std::map<std::string, Operation> kOperations{
    {"firmware", Firmware},
    {"identity", Identity},
    {"system", System},
    {"components", List<&Inventory::GetNodeOtherSystemVPD, OtherSystemVPD>},
    {"sensors", List<&Inventory::GetZMCNumericSensors, KelvarNfw::NUMERICSENSORS>},
    {"log", List<&Inventory::GetZMCMessageLogDataRedfish, LogEntry>},
    {"audit-log", List<&Inventory::GetZMCAuditLogDataViaREST, LogEntry>},
    {"platform-log", List<&Inventory::GetZMCPlatformLogDataViaREST, LogEntry>},
    {"active-events", List<&Inventory::GetZMCActiveEventsDataViaREST, LogEntry>},
    {"maintenance-log", List<&Inventory::GetZMCMaintLogDataViaREST, MAINTLOGREDFISHDATA>},
    {"dns", List<&Inventory::GetZMCDNSSettingData, KelvarNfw::ZMCDNSSETTINGDATA>},
    {"ip", List<&Inventory::GetZMCIPProtocolEndPoint, KelvarNfw::ZMCIPPROTOCOLENDPOINT>},
    {"static-ip", List<&Inventory::GetZMCStaticIPAddress, KelvarNfw::ZMCSTATICIP>},
    {"snmp", List<&Inventory::GetZMCCommunityString, KelvarNfw::ZMCSNMPCOMMUNITYSTRING>},
};

struct Case {
  std::string machine;
  std::vector<std::string> faults;
  std::string operation;
  Outcome expected;
};

void PrintTo(const Case& row, std::ostream* stream) {
  *stream << row.machine << ", " << row.operation << ":";
  for (const std::string& fault : row.faults) {
    *stream << " [" << fault << ']';
  }
}

std::vector<Case> ReadCatalogue() {
  namespace Json = Simulator::Json;
  std::vector<Case> rows;
  const rapidjson::Document catalogue = Json::ReadObject(KELVAR_FAULT_CATALOGUE);
  for (const auto& group : Json::List(catalogue, "groups")) {
    for (const auto& row : Json::List(group, "cases")) {
      Case read{Json::Text(group, "machine", "full"), {}, Json::Text(row, "operation", ""), {}};
      if (read.operation.empty()) {
        read.operation = Json::Text(group, "operation");
      }
      for (const auto& fault : Json::List(row, "faults")) {
        read.faults.emplace_back(fault.GetString());
      }
      read.expected = {static_cast<int>(Json::Number(row, "result")), Json::Number(row, "records")};
      rows.push_back(read);
    }
  }
  return rows;
}

class RedfishFaults : public testing::TestWithParam<Case> {
 protected:
  // A 503 is not waited for.
  static void SetUpTestSuite() { SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", -1); }
};

INSTANTIATE_TEST_SUITE_P(Catalogue, RedfishFaults, testing::ValuesIn(ReadCatalogue()));

TEST_P(RedfishFaults, GiveTheCallerADefinedResult) {
  Simulator::Machine machine = Simulator::LoadMachine(GetParam().machine, KELVAR_TEST_MACHINES);
  for (const std::string& fault : GetParam().faults) {
    machine.faults.push_back("redfish:" + fault);
  }
  Simulator::RedfishService service(machine);
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_REDFISH;
  info.Host = "127.0.0.1";
  info.Port = service.Start(0);
  info.UserName = machine.accounts.at(0).user;
  info.Password = machine.accounts.at(0).password;

  const LogCapture log;
  NodeFirmwareInventory target(info);
  EXPECT_EQ(kOperations.at(GetParam().operation)(target), GetParam().expected);
  EXPECT_FALSE(log.Contains(info.Password));
}

}  // namespace
}  // namespace Kelvar::Test
