#include <gmock/gmock.h>

#include "support/LogCapture.h"
#include "unit/inventory/FacadeScript.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kEmptyReport[] =
    "{BMCBuildID = ; BMCBuildDate = ; BMCBackUpBuildID = ; BMCBackUpBuildDate = \n"
    "; uEFIBuildID = ; uEFIBuildDate = ; uEFIBackUpBuildID = ; uEFIBackUpBuildDate = \n"
    "; QDGpBuildID = ; QDGpBuildIDDate = \n"
    "; BMCPVQBuildID = ; BMCPVQBuildDate = ; BMCPVQBackUpBuildID = ; BMCPVQBackUpBuildDate = \n"
    "; WRBpBuildID = ; WRBpBuildIDDate = ; DRVLNpBuildID = ; DRVLNpBuildIDDate = ; DRVWNpBuildID = "
    "; DRVWNpBuildIDDate = ; SorelBuildID = ; SorelBuildIDDate = }";

/// The record's 22 arrays hold "1", "2" and so on.
KelvarNfw::NODEFIRMWAREBUILDID Numbered() {
  KelvarNfw::NODEFIRMWAREBUILDID record{};
  char* bytes = record.BMCBuildID;
  for (int i = 0; i < 22; ++i) {
    const std::string text = std::to_string(i + 1);
    text.copy(bytes + (i / 2) * 36 + (i % 2) * 24, text.size());
  }
  return record;
}

std::vector<std::string> ReportOf(const std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& builds, u32 level, int code) {
  FacadeScript script;
  script.builds = builds;
  script.codes["primary.GetNodeFirmwareBuildID"] = code;
  BackendFactory parts;
  parts.primaryBackend = std::make_unique<ScriptedBackend>(script, "primary");
  const auto facade = BackendFactory::MakeFacade(std::move(parts));
  const LogCapture log(level);
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list;
  EXPECT_EQ(facade->GetNodeFirmwareBuildID(list), code);
  return log.Texts(4);
}

TEST(BuildIDReport, WritesOneRecordAnEntry) {
  EXPECT_THAT(ReportOf({}, 4, 0), IsEmpty());
  EXPECT_THAT(ReportOf({{}}, 4, 0), ElementsAre(kEmptyReport));
  EXPECT_THAT(ReportOf({{}}, 3, 0), IsEmpty());

  std::string numbered;
  int field = 0;
  for (const char* c = kEmptyReport; *c != '\0'; ++c) {
    numbered.push_back(*c);
    if (*c == ' ' && numbered.ends_with(" = ")) {
      numbered += std::to_string(++field);
    }
  }
  EXPECT_THAT(ReportOf({Numbered(), {}}, 4, 15), ElementsAre(numbered, kEmptyReport)) << "also after a failure";
}

TEST(BuildIDReport, RunsOverTheCallersVectorWithoutABackend) {
  const auto facade = BackendFactory::MakeFacade({});
  const LogCapture log;
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> list(1);
  EXPECT_EQ(facade->GetNodeFirmwareBuildID(list), 0);
  EXPECT_THAT(log.Texts(4), ElementsAre(kEmptyReport));
}

}  // namespace
}  // namespace Kelvar::Test
