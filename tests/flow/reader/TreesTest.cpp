// Small services with the odd shapes of real ones, and what the reader makes of them: tests/data/reader/NAME.json
// holds the resources, NAME.expect a line for each record. KELVAR_REWRITE=1 writes the lines anew.

#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "flow/reader/RecordLines.h"
#include "flow/reader/RedfishTree.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

class ReaderTrees : public testing::TestWithParam<const char*> {};

std::string TextOf(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST_P(ReaderTrees, GiveTheirRecords) {
  const std::string base = InTree("tests/data/reader/") + GetParam();
  RedfishTree tree;
  tree.Load(base + ".json");
  InventoryReader reader(tree.Target());
  const std::string lines = RecordLines(reader.Read());
  if (std::getenv("KELVAR_REWRITE") != nullptr) {
    std::ofstream(base + ".expect") << lines;
  }
  EXPECT_EQ(lines, TextOf(base + ".expect"));
  EXPECT_EQ(tree.OpenSessions(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, ReaderTrees,
                         testing::Values("identity", "parts", "sensors", "logs", "network", "shapes", "doubles",
                                         "messages", "oddities", "equipment"));

}  // namespace
}  // namespace Kelvar::Test
