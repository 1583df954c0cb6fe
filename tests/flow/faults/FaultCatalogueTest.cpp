// What a caller gets when a target misbehaves or its data are awkward: each row of a catalogue is what is wrong, an
// operation, and the result and the number of records that it has to give.

#include <kelvar/GlobalConfig.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "flow/faults/FaultTarget.h"
#include "simulator/machine/JsonFile.h"
#include "support/FixedOperations.h"
#include "support/LogCapture.h"
#include "support/SmallStack.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

struct Row {
  MakeFaultTarget make;
  TargetSpec target;
  std::string operation;
  Outcome expected;
};

void PrintTo(const Row& row, std::ostream* stream) {
  *stream << row.target.machine << ' ' << row.target.flavour << ", " << row.operation << ":";
  for (const std::string& fault : row.target.faults) {
    *stream << " [" << fault << ']';
  }
}

Row ReadRow(MakeFaultTarget make, const rapidjson::Value& group, const rapidjson::Value& row) {
  namespace Json = Simulator::Json;
  Row read;
  read.make = make;
  read.target.machine = Json::Text(group, "machine", "full");
  read.target.flavour = Json::Text(group, "flavour", "");
  read.target.connectionCase = Json::Number(group, "connectionCase", KelvarConnection::CONNECTION_CASE_CIM_BMC);
  read.target.suite = Json::Number(group, "suite", 17);
  for (const auto& fault : Json::List(row, "faults")) {
    read.target.faults.emplace_back(fault.GetString());
  }
  const std::string operation = Json::Text(row, "operation", "");
  read.operation = operation.empty() ? Json::Text(group, "operation") : operation;
  read.expected = {static_cast<int>(Json::Number(row, "result")), Json::Number(row, "records")};
  return read;
}

std::vector<Row> ReadCatalogue(MakeFaultTarget make, const char* file) {
  namespace Json = Simulator::Json;
  std::vector<Row> rows;
  const rapidjson::Document catalogue = Json::ReadObject(std::filesystem::path(kFaultCatalogues) / file);
  for (const auto& group : Json::List(catalogue, "groups")) {
    for (const auto& row : Json::List(group, "cases")) {
      rows.push_back(ReadRow(make, group, row));
    }
  }
  return rows;
}

class Faults : public testing::TestWithParam<Row> {
 protected:
  // A 503 is not waited for.
  static void SetUpTestSuite() { SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", -1); }
};

INSTANTIATE_TEST_SUITE_P(Redfish, Faults, testing::ValuesIn(ReadCatalogue(MakeRedfishTarget, "redfish.json")));
INSTANTIATE_TEST_SUITE_P(Cim, Faults, testing::ValuesIn(ReadCatalogue(MakeCimTarget, "cim.json")));
INSTANTIATE_TEST_SUITE_P(Ipmi, Faults, testing::ValuesIn(ReadCatalogue(MakeIpmiTarget, "ipmi.json")));

TEST_P(Faults, GiveTheCallerADefinedResult) {
  const LogCapture log;
  const auto target = GetParam().make(GetParam().target);
  Outcome outcome;
  OnSmallStack([&] { outcome = FixedOperationNamed(GetParam().operation).call(target->Inventory()); });
  EXPECT_EQ(outcome, GetParam().expected);
  EXPECT_FALSE(log.Contains("kelvar-demo"));
}

}  // namespace
}  // namespace Kelvar::Test
