// What a reading gives when a target refuses, lies or is busy: each row of a catalogue is a rule of the simulator's
// module, and the status and number of records of the family that it strikes. The others stay whole.

#include "flow/reader_ipmi/ForeignComparison.h"
#include "simulator/machine/JsonFile.h"
#include "support/MachineIpmi.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using Model::Family;

struct Row {
  std::string fault;
  std::string family;
  std::string status;
  std::size_t records = 0;
  std::string reason;  ///< empty: any
};

void PrintTo(const Row& row, std::ostream* stream) {
  *stream << row.fault;
}

std::vector<Row> Rows() {
  namespace Json = Simulator::Json;
  std::vector<Row> rows;
  const rapidjson::Document catalogue = Json::ReadObject(std::filesystem::path(kFaultCatalogues) / "ipmi-reader.json");
  for (const auto& group : Json::List(catalogue, "groups")) {
    for (const auto& row : Json::List(group, "cases")) {
      rows.push_back({Json::Text(row, "fault"), Json::Text(row, "family"), Json::Text(row, "status"),
                      Json::Number(row, "records"), Json::Text(row, "reason", "")});
    }
  }
  return rows;
}

std::size_t RecordsOf(const Model::Inventory& inventory, const std::string& family) {
  const std::map<std::string, std::size_t> counts = {
      {"system", inventory.systems.size()},        {"firmware", inventory.firmware.size()},
      {"components", inventory.components.size()}, {"sensors", inventory.sensors.size()},
      {"logs", inventory.log_entries.size()},      {"network", inventory.network_interfaces.size()}};
  return counts.at(family);
}

class ReaderFaults : public testing::TestWithParam<Row> {};

TEST_P(ReaderFaults, CostNoMoreThanThemselvesWithinABound) {
  const Row& row = GetParam();
  IpmiSimConfig config = MachineIpmi(Simulator::LoadMachine("many-sensors", kMachineFolder));
  config.moduleLines.insert(config.moduleLines.begin(), row.fault);
  const IpmiSim sim(config);
  InventoryReaderOptions options;
  options.sdr_cache = false;
  InventoryReader reader(IpmiInfo(sim.Port()), options);
  const Model::Inventory inventory = reader.Read();
  for (const Family family : {Family::System, Family::Firmware, Family::Logs, Family::Network, Family::Sensors}) {
    const Model::FamilyResult& result = inventory.ResultOf(family);
    const bool struck = NameOf(family) == row.family || row.fault.rfind("rule 06 01", 0) == 0 ||
                        row.fault.rfind("rule 0A 2", 0) == 0;  // what names sensors in the log
    EXPECT_TRUE(struck || result.status == Model::FamilyStatus::Complete) << NameOf(family) << ": " << result.reason;
    if (NameOf(family) == row.family) {
      EXPECT_STREQ(NameOf(result.status), row.status.c_str()) << result.reason;
      EXPECT_TRUE(row.reason.empty() || result.reason == row.reason) << result.reason;
    }
  }
  EXPECT_EQ(RecordsOf(inventory, row.family), row.records);
  EXPECT_LT(reader.LastDiagnostics().ExchangeCount(), 1200U);
}

TEST(ReaderSessions, ATargetThatHasTheStrongerSuiteAloneIsReadToo) {
  IpmiSimConfig config;
  config.module = kIpmiModule;
  config.moduleLines = {"suites 17"};
  const IpmiSim sim(config);
  InventoryReader reader(IpmiInfo(sim.Port()), {});
  EXPECT_EQ(reader.Read({Family::Firmware}).ResultOf(Family::Firmware).status, Model::FamilyStatus::Complete);
}

INSTANTIATE_TEST_SUITE_P(All, ReaderFaults, testing::ValuesIn(Rows()));

}  // namespace
}  // namespace Kelvar::Test
