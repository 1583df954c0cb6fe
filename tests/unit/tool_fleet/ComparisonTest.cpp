// What changed between two runs, and what it costs to tell.

#include <algorithm>
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/kelvar/fleet/Comparison.h"

namespace Kelvar::Tool {
namespace {

using Records = std::vector<StoredReport::Record>;

StoredReport ReportOf(Records records) {
  return {"redfish://one", "complete", {{"components", {"complete", std::move(records)}}}};
}

std::vector<Difference> Compare(Records before, Records now) {
  return Comparison({{"redfish://one", ReportOf(std::move(before))}}).Compare(ReportOf(std::move(now)));
}

TEST(Comparison, MatchesRecordsByContentThenByNameInTheirOrder) {
  const Records before{{{"Name", "fan"}, {"Slot", "1"}},
                       {{"Name", "fan"}, {"Slot", "2"}},
                       {{"Name", "fan"}, {"Slot", "3"}},
                       {{"Name", "card"}},
                       {{"Name", "disk"}, {"Serial", "A"}, {"Slot", "1"}},
                       {{"Slot", "nameless"}}};
  const Records now{{{"Slot", "nameless"}},
                    {{"Name", "fan"}, {"Slot", "3"}},
                    {{"Name", "fan"}, {"Slot", "7"}},
                    {{"Name", "fan"}, {"Slot", "2"}},
                    {{"Name", "disk"}, {"Slot", "1"}},
                    {{"Name", "card"}},
                    {{"Name", "card"}}};
  EXPECT_EQ(TextOf(Compare(before, now), false, ""),
            "redfish://one: components fan Slot: \"1\" -> \"7\"\n"
            "redfish://one: components disk Serial: \"A\" -> \"\"\n"
            "redfish://one: components card added\n");
}

TEST(Comparison, TakesTimeInProportionToTheRecords) {
  constexpr std::size_t kCount = 40'000;
  Records before;
  Records now;
  for (std::size_t number = 0; number < kCount; ++number) {
    const std::string name = "component " + std::to_string(number);
    before.push_back({{"Name", name}, {"Manufacturer", "Ohmsten"}, {"Version", "1." + std::to_string(number)}});
    now.push_back({{"Name", name}, {"Manufacturer", "Ohmsten"}, {"Version", "2." + std::to_string(number)}});
  }
  std::reverse(now.begin(), now.end());
  const std::clock_t start = std::clock();
  EXPECT_EQ(Compare(before, now).size(), kCount);
  EXPECT_EQ(Compare(before, before).size(), 0U);
  constexpr std::clock_t kAllowed = 10;  // seconds, unoptimised and with sanitizers; each pair with each took minutes
  EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, kAllowed);
}

}  // namespace
}  // namespace Kelvar::Tool
