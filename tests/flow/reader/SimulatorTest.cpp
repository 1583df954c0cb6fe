// The simulated machines as InventoryReader sees them.

#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>

#include <algorithm>

#include "support/BmcSim.h"
#include "support/Loopback.h"

namespace Kelvar::Test {
namespace {

using namespace Model;

template <typename Record>
std::size_t CountKind(const std::vector<Record>& records, const std::string& kind) {
  return static_cast<std::size_t>(
      std::count_if(records.begin(), records.end(), [&](const Record& record) { return record.kind == kind; }));
}

TEST(ReaderSimulator, TheFullMachineIsReadCompletely) {
  const BmcSim sim("full", {"--serve", "redfish"});
  InventoryReader reader(LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, sim.Port("redfish")));
  const Inventory inventory = reader.Read();
  for (const Family family : kAllFamilies) {
    EXPECT_EQ(inventory.ResultOf(family).status, FamilyStatus::Complete) << NameOf(family);
  }
  EXPECT_EQ(CountKind(inventory.systems, "system"), 1U);
  EXPECT_EQ(CountKind(inventory.systems, "chassis"), 6U);
  EXPECT_EQ(inventory.systems.front().serial_number, "KV4A017");
  EXPECT_EQ(inventory.firmware.size(), 12U);
  EXPECT_EQ(CountKind(inventory.components, "power_supply"), 4U);
  EXPECT_EQ(CountKind(inventory.components, "memory"), 4U);
  EXPECT_EQ(CountKind(inventory.sensors, "temperature"), 6U);
  EXPECT_EQ(inventory.log_entries.size(), 22U);
  EXPECT_EQ(inventory.network_interfaces.size(), 4U);
  EXPECT_EQ(Judge(inventory).health, Health::Critical);
  EXPECT_TRUE(reader.LastDiagnostics().ServiceUnderstood());
}

}  // namespace
}  // namespace Kelvar::Test
