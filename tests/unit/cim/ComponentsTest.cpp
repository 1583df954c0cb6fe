#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;

using Components = CimFixture;

std::string Element(const std::string& name, const std::string& tag) {
  return CimInstanceXml("QEL_Card", {{"ElementName", "string", name},
                                     {"PartNumber", "string", tag + "-pn"},
                                     {"SKU", "string", tag + "-sku"},
                                     {"Model", "string", tag + "-model"},
                                     {"SerialNumber", "string", tag + "-sn"},
                                     {"Manufacturer", "string", tag + "-vendor"}});
}

std::vector<std::string> Shown(const std::vector<OtherSystemVPD>& list) {
  std::vector<std::string> lines;
  for (const OtherSystemVPD& c : list) {
    lines.push_back(c.Name + "/" + c.PartNumber + "/" + c.FruPartNumber + "/" + c.SerialNumber + "/" + c.Manufacturer);
  }
  return lines;
}

TEST_F(Components, KnownNamesAreListedOnceEach) {
  server.OnClass("CIM_PhysicalElement",
                 Element("system board 1", "a") + Element("system board 1", "again") + Element("fan 1", "no") +
                     Element("Power Supply 1", "no") + Element("power supply 1", "b") +
                     Element("Riser power supply", "c") + Element("front drive backplane", "d") +
                     CimInstanceXml("QEL_Card", {{"ElementName", "string", "system internal expansion board 1"}}));
  const auto facade = Facade();
  std::vector<OtherSystemVPD> list;
  EXPECT_EQ(facade->GetNodeOtherSystemVPD(list), 0);
  EXPECT_THAT(Shown(list),
              ElementsAre("system board 1/a-pn/a-sku/a-sn/a-vendor", "power supply 1/b-pn/b-model/b-sn/b-vendor",
                          "Riser power supply/c-pn/c-sku/c-sn/c-vendor",
                          "front drive backplane/d-pn/d-sku/d-sn/d-vendor", "system internal expansion board 1////"));
  EXPECT_EQ(facade->GetNodeOtherSystemVPD(list), 0);
  EXPECT_EQ(list.size(), 10U) << "appended to what the caller passes";
}

TEST_F(Components, TheLastInstanceThatCountsGivesTheCode) {
  const std::string board = Element("system board 1", "a");
  const std::string nameless = CimInstanceXml("QEL_Card", {{"SKU", "string", "x"}});
  const struct {
    std::string instances;
    int code;
    std::size_t count;
  } cases[] = {
      {"", 7, 0},
      {Element("fan", "x"), 15, 0},
      {board + nameless, 8, 1},
      {nameless + board + Element("fan", "x"), 0, 1},
      {board + nameless + board, 8, 1},
  };
  const auto facade = Facade();
  for (const auto& c : cases) {
    server.OnClass("CIM_PhysicalElement", c.instances);
    std::vector<OtherSystemVPD> list;
    EXPECT_EQ(facade->GetNodeOtherSystemVPD(list), c.code);
    EXPECT_EQ(list.size(), c.count);
  }
}

}  // namespace
}  // namespace Kelvar::Test
