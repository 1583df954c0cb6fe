#include <gtest/gtest.h>

#include <set>
#include <string>

#include <kelvar/Names.h>

namespace Kelvar::Test {
namespace {

using NFI = NodeFirmwareInventory;

TEST(Names, ResultsHaveAPlaceEach) {
  std::set<std::string> names;
  std::set<std::string> descriptions;
  const int codes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13, 15};
  for (const int code : codes) {
    names.insert(NameOf(static_cast<NFI::INVENTORYRETURNCODE>(code)));
    descriptions.insert(DescriptionOf(static_cast<NFI::INVENTORYRETURNCODE>(code)));
  }
  EXPECT_EQ(names.size(), std::size(codes));
  EXPECT_EQ(descriptions.size(), std::size(codes));
  EXPECT_EQ(names.count("UNKNOWN") + descriptions.count("unknown result"), 0U);
  EXPECT_STREQ(NameOf(NFI::INVENTORY_IPMI_NOT_PRESENT), "INVENTORY_IPMI_NOT_PRESENT");
}

TEST(Names, NumbersOutsideAnEnumerationAreUnknown) {
  for (const int number : {-1, 6, 14, 16, 1000}) {
    EXPECT_STREQ(NameOf(static_cast<NFI::INVENTORYRETURNCODE>(number)), "UNKNOWN");
    EXPECT_STREQ(DescriptionOf(static_cast<NFI::INVENTORYRETURNCODE>(number)), "unknown result");
  }
  EXPECT_STREQ(NameOf(static_cast<NFI::ZMCGENERATIONTYPE>(2)), "UNKNOWN");
  EXPECT_STREQ(NameOf(NFI::ZMC_GENERATION_2), "ZMC_GENERATION_2");
  EXPECT_STREQ(NameOf(KelvarConnection::CONNECTION_CASE_CIM_ESXI), "CONNECTION_CASE_CIM_ESXI");
  EXPECT_STREQ(NameOf(static_cast<KelvarConnection::CONNECTIONCASE>(6)), "UNKNOWN");
  EXPECT_STREQ(NameOf(NFI::CIM_CONNECTION_HTTPS), "CIM_CONNECTION_HTTPS");
}

}  // namespace
}  // namespace Kelvar::Test
