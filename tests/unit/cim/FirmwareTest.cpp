#include "common/text/FixedText.h"
#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarNfw::NODEFIRMWAREBUILDID;
using Text::FixedView;

std::string Image(std::vector<CimProperty> properties) {
  return CimInstanceXml("QEL_SoftwareIdentity", properties);
}

std::string Image(const std::string& name, const std::string& version, std::vector<CimProperty> more = {}) {
  more.insert(more.begin(), {{"Name", "string", name},
                             {"VersionString", "string", version},
                             {"ReleaseDate", "datetime", "20260314000000.000000+000"}});
  return Image(more);
}

class CimFirmware : public CimFixture {
 protected:
  int Read(const std::string& instances) {
    server.OnClass("CIM_SoftwareIdentity", instances);
    list.assign(3, {});
    return Facade()->GetNodeFirmwareBuildID(list);
  }

  std::vector<NODEFIRMWAREBUILDID> list;
};

TEST_F(CimFirmware, EveryImageFillsItsOwnFields) {
  LogCapture log;
  ASSERT_EQ(Read(Image("ZMC2 Backup", "b") + Image("ZMC2", "a") + Image("PVQ", "c") + Image("PVQ Backup", "d") +
                 Image("Diagnostics", "e", {{"ElementName", "string", "QDG"}}) +
                 Image("Diagnostics", "f", {{"ElementName", "string", "Brenn"}}) + Image("Diagnostics", "no") +
                 Image("x", "g", {{"TargetTypes", "string", " UEFI "}}) +
                 Image("x", "no", {{"TargetTypes", "string", "UEFI Backup "}}) +
                 Image("x", "h", {{"TargetTypes", "string", "UEFI-Backup"}}) + Image("Brenn Windows Drivers", "i") +
                 Image("Brenn Linux Drivers", "j") + Image("zmc2", "no") + Image("ZMC2 ", "no")),
            0);
  ASSERT_EQ(list.size(), 1U);
  const NODEFIRMWAREBUILDID& r = list[0];
  std::string all;
  for (const auto* field :
       {&r.BMCBuildID, &r.BMCBackUpBuildID, &r.BMCPVQBuildID, &r.BMCPVQBackUpBuildID, &r.QDGpBuildID, &r.WRBpBuildID,
        &r.uEFIBuildID, &r.uEFIBackUpBuildID, &r.DRVWNpBuildID, &r.DRVLNpBuildID}) {
    all += FixedView(*field);
  }
  EXPECT_EQ(all, "abcdefghij");
  for (const auto* field :
       {&r.BMCBuildDate, &r.BMCBackUpBuildDate, &r.BMCPVQBuildDate, &r.BMCPVQBackUpBuildDate, &r.QDGpBuildIDDate,
        &r.WRBpBuildIDDate, &r.uEFIBuildDate, &r.uEFIBackUpBuildDate, &r.DRVWNpBuildIDDate, &r.DRVLNpBuildIDDate}) {
    EXPECT_EQ(FixedView(*field), "20260314");
  }
  EXPECT_EQ(FixedView(r.SorelBuildID), "");
  EXPECT_TRUE(log.Has(4, "BMCBuildID found  = a"));
  EXPECT_TRUE(log.Has(4, "uEFIBackUpBuildDate found  = 20260314000000.000000+000"));
}

TEST_F(CimFirmware, OneImageCanFillTwoRowsAndTheLastOneStands) {
  ASSERT_EQ(Read(Image("ZMC2", "old") +
                 Image("ZMC2", "a build ID that is far too long", {{"TargetTypes", "string", "UEFI"}})),
            0);
  EXPECT_EQ(FixedView(list[0].BMCBuildID), "a build ID that is far ");
  EXPECT_EQ(FixedView(list[0].uEFIBuildID), "a build ID that is far ");
}

TEST_F(CimFirmware, MissingPropertiesEndTheWalk) {
  const CimProperty name{"Name", "string", "other"};
  const CimProperty version{"VersionString", "string", "1"};
  const struct {
    std::vector<CimProperty> properties;
    const char* line;
  } cases[] = {
      {{version}, "No ElementName property"},
      {{name}, "No VersionString property"},
      {{name, version}, "No ReleaseDate property"},
  };
  for (const auto& c : cases) {
    LogCapture log;
    EXPECT_EQ(Read(Image("ZMC2", "kept") + Image(c.properties) + Image("PVQ", "not read")), 8);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(FixedView(list[0].BMCBuildID), "kept");
    EXPECT_EQ(FixedView(list[0].BMCPVQBuildID), "");
    EXPECT_TRUE(log.Has(4, c.line));
  }
}

TEST_F(CimFirmware, NothingIsDeliveredWithoutInstancesOrBehindAnException) {
  EXPECT_EQ(Read(""), 7);
  EXPECT_TRUE(list.empty());
  server.OnClassError("CIM_SoftwareIdentity", 2, "no");
  list.assign(3, {});
  EXPECT_EQ(Facade()->GetNodeFirmwareBuildID(list), 9);
  EXPECT_TRUE(list.empty());
}

}  // namespace
}  // namespace Kelvar::Test
