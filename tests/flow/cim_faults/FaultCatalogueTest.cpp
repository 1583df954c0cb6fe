// What a caller gets when a CIM server misbehaves or its instances are awkward: each row of the catalogue is a fault of
// the simulator, an operation, and the result and the number of records that it has to give.

#include <kelvar/NodeFirmwareInventory.h>

#include <algorithm>
#include <map>

#include <gtest/gtest.h>

#include "simulator/cim/CimService.h"
#include "simulator/machine/JsonFile.h"
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

using Inventory = NodeFirmwareInventory;
using LogEntry = KelvarNfw::ZMCMESSAGELOGDATA;
using Operation = Outcome (*)(Inventory& target);

/// An operation that fills a list.
template <auto operation, class Record>
Outcome List(Inventory& target) {
  std::vector<Record> list;
  const int result = (target.*operation)(list);
  return {result, list.size()};
}

Outcome Log(Inventory& target) {
  std::vector<LogEntry> list;
  const int result = target.GetZMCMessageLogDataCIM(list, 3);
  return {result, list.size()};
}

Outcome Generation(Inventory& target) {
  Inventory::ZMCGENERATIONTYPE generation{};
  const int result = target.GetZMCGenerationType(generation);
  return {result, generation == Inventory::ZMC_GENERATION_2 ? 1U : 0U};
}

Outcome Identity(Inventory& target) {
  KelvarNfw::NODEFIRMWARESYSTEMVPD vpd{};
  const int result = target.GetNodeFirmwareSystemVPD(vpd);
  return {result, vpd.MachineType[0] != '\0' ? 1U : 0U};
}

Outcome System(Inventory& target) {
  KelvarAgentless::ComputerSystem system;
  const int result = target.GetHardwareInfoComputerSystem(system);
  return {result, system.SerialNumber.empty() ? 0U : 1U};
}

/// Counts the images that have a build ID.
Outcome Firmware(Inventory& target) {
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  const int result = target.GetNodeFirmwareBuildID(list);
  std::size_t filled = 0;
  for (const auto& all : list) {
    for (const char* id : {all.BMCBuildID, all.BMCBackUpBuildID, all.BMCPVQBuildID, all.BMCPVQBackUpBuildID,
                           all.uEFIBuildID, all.uEFIBackUpBuildID, all.QDGpBuildID, all.WRBpBuildID, all.DRVWNpBuildID,
                           all.DRVLNpBuildID, all.SorelBuildID}) {
      filled += *id != '\0' ? 1 : 0;
    }
  }
  return {result, filled};
}

const std::map<std::string, Operation> kOperations{
    {"firmware", Firmware},
    {"generation", Generation},
    {"identity", Identity},
    {"system", System},
    {"components", List<&Inventory::GetNodeOtherSystemVPD, OtherSystemVPD>},
    {"log", Log},
    {"audit-log", List<&Inventory::GetZMCAuditLogDataViaCIM, LogEntry>},
    {"platform-log", List<&Inventory::GetZMCPlatformLogDataViaCIM, LogEntry>},
    {"dns", List<&Inventory::GetZMCDNSSettingData, KelvarNfw::ZMCDNSSETTINGDATA>},
    {"ip", List<&Inventory::GetZMCIPProtocolEndPoint, KelvarNfw::ZMCIPPROTOCOLENDPOINT>},
    {"static-ip", List<&Inventory::GetZMCStaticIPAddress, KelvarNfw::ZMCSTATICIP>},
    {"snmp", List<&Inventory::GetZMCCommunityString, KelvarNfw::ZMCSNMPCOMMUNITYSTRING>},
    {"leds", List<&Inventory::GetZMCIndicatorLED, KelvarNfw::INDICATORLEDS>},
    {"sensors", List<&Inventory::GetZMCNumericSensors, KelvarNfw::NUMERICSENSORS>},
};

struct Case {
  std::string machine;
  std::string flavour;
  u32 connectionCase;
  std::vector<std::string> faults;
  std::string operation;
  Outcome expected;
};

void PrintTo(const Case& row, std::ostream* stream) {
  *stream << row.machine << ' ' << row.flavour << ", case " << row.connectionCase << ", " << row.operation << ":";
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
      Case read{Json::Text(group, "machine", "full"),
                Json::Text(group, "flavour", ""),
                Json::Number(group, "connectionCase", KelvarConnection::CONNECTION_CASE_CIM_BMC),
                {},
                Json::Text(row, "operation"),
                {}};
      for (const auto& fault : Json::List(row, "faults")) {
        read.faults.push_back(std::string("cim:") + fault.GetString());
      }
      read.expected = {static_cast<int>(Json::Number(row, "result")), Json::Number(row, "records")};
      rows.push_back(read);
    }
  }
  return rows;
}

class CimFaults : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(Catalogue, CimFaults, testing::ValuesIn(ReadCatalogue()));

TEST_P(CimFaults, GiveTheCallerADefinedResult) {
  Simulator::Machine machine = Simulator::LoadMachine(GetParam().machine, KELVAR_TEST_MACHINES);
  machine.faults = GetParam().faults;
  machine.cimFlavour = GetParam().flavour;
  Simulator::CimService service(machine);
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = GetParam().connectionCase;
  info.ZMCIndex = 1;
  info.Host = "127.0.0.1";
  info.Port = service.Start(0);
  info.UserName = machine.accounts.at(0).user;
  info.Password = machine.accounts.at(0).password;

  const LogCapture log;
  Inventory target(info);
  EXPECT_EQ(kOperations.at(GetParam().operation)(target), GetParam().expected);
  EXPECT_FALSE(log.Contains(info.Password));
}

}  // namespace
}  // namespace Kelvar::Test
