// What a reading comes to when a service misbehaves: each row of tests/data/faults/reader.json is a fault, and the
// status, the cause and the number of records that the family has to get.

#include <filesystem>

#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>

#include "simulator/machine/JsonFile.h"
#include "simulator/redfish/RedfishServer.h"
#include "support/Loopback.h"
#include "support/SmallStack.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

namespace Json = Simulator::Json;

struct Row {
  std::string machine;
  std::vector<std::string> faults;
  double deadline;
  std::string expected;
};

void PrintTo(const Row& row, std::ostream* stream) {
  *stream << row.machine << ' ' << row.faults.back();
}

std::string LineOf(const std::string& status, const std::string& cause, std::size_t records) {
  return status + ' ' + cause + ' ' + std::to_string(records);
}

std::vector<Row> ReadRows() {
  std::vector<Row> rows;
  const auto catalogue = Json::ReadObject(std::filesystem::path(kFaultCatalogues) / "reader.json");
  for (const auto& group : Json::List(catalogue, "groups")) {
    for (const auto& one : Json::List(group, "cases")) {
      Row row;
      row.machine = Json::Text(group, "machine");
      for (const auto& fault : Json::List(group, "faults")) {
        row.faults.push_back(std::string("redfish:") + fault.GetString());
      }
      row.faults.push_back("redfish:" + Json::Text(group, "path") + ' ' + Json::Text(one, "fault"));
      row.deadline = static_cast<double>(Json::Number(one, "deadline", 30));
      row.expected = LineOf(Json::Text(one, "status"), Json::Text(one, "cause", "none"), Json::Number(one, "records"));
      rows.push_back(std::move(row));
    }
  }
  return rows;
}

class ReaderFaults : public testing::TestWithParam<Row> {};

TEST_P(ReaderFaults, GiveWhatTheCatalogueSays) {
  Simulator::Machine machine = Simulator::LoadMachine(GetParam().machine, kMachineFolder);
  machine.faults = GetParam().faults;
  Simulator::RedfishServer service(machine);
  const auto target = LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, service.Start(0));
  InventoryReaderOptions options;
  options.deadline_seconds = GetParam().deadline;
  std::string line;
  OnSmallStack([&] {
    const Model::Inventory inventory = InventoryReader(target, options).Read({Model::Family::Firmware});
    const Model::FamilyResult& result = inventory.ResultOf(Model::Family::Firmware);
    line = LineOf(NameOf(result.status), NameOf(result.cause), inventory.firmware.size());
  });
  EXPECT_EQ(line, GetParam().expected);
  EXPECT_EQ(service.OpenSessions(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Redfish, ReaderFaults, testing::ValuesIn(ReadRows()));

}  // namespace
}  // namespace Kelvar::Test
