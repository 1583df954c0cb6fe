#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "support/JsonSchema.h"
#include "support/TestPlaces.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"
#include "tools/kelvar/inventory/TableLayout.h"
#include "unit/tool_inventory/SampleReport.h"

namespace Kelvar::Tool {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string Breach(const std::string& text) {
  return Kelvar::Test::Breach(Test::InTree("docs/inventory.schema.json"), text);
}

TEST(InventoryJson, KeepsToItsSchema) {
  const InventoryReport report = Kelvar::Test::SampleReport();
  const std::string text = JsonText(report);
  EXPECT_EQ(Breach(text), "");
  EXPECT_EQ(Breach(IndentedJsonText(report)), "");
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  std::string other = text;
  other.replace(other.find("\"upper_caution\""), 15, "\"upper_warning\"");
  EXPECT_NE(Breach(other), "");
  InventoryReport failed;
  failed.target = "redfish://192.0.2.9";
  failed.code = ExitCode::Unreachable;
  failed.error = "no response";
  EXPECT_EQ(Breach(JsonText(failed)), "");
}

TEST(InventoryJson, LeavesOutWhatIsAbsent) {
  rapidjson::Document document;
  document.Parse(JsonText(Kelvar::Test::SampleReport()).c_str());
  const auto& fan = document["sensors"][1];
  EXPECT_EQ(fan["reading"].GetDouble(), 0);
  EXPECT_FALSE(fan.HasMember("upper_critical"));
  EXPECT_FALSE(fan.HasMember("health"));
  EXPECT_EQ(document["logs"][0]["resolved"].GetBool(), false);
  EXPECT_STREQ(document["network"]["interfaces"][0]["addresses"][0]["gateway"].GetString(), "192.0.2.1");
  EXPECT_STREQ(document["families"]["logs"]["cause"].GetString(), "bad_data");
  EXPECT_EQ(document["components"][1]["capacity_bytes"].GetUint64(), 3'840'755'982'336U);
}

TEST(InventoryCsv, HasALineARecordAndAColumnAKey) {
  const InventoryReport report = Kelvar::Test::SampleReport();
  const auto columns = CsvColumns({Model::Family::Firmware}, {"family", "name", "version"});
  EXPECT_EQ(CsvHead(columns), "family,name,version\r\n");
  EXPECT_THAT(CsvText(report, columns), HasSubstr("firmware,\"'=BIOS, \"\"A\"\"\",U30 v2.44 (01/2026)\r\n"));
  EXPECT_THAT(CsvText(report, {"name", "version"}), Not(HasSubstr("\n,\r\n,\r\n"))) << "the log entry has a line alone";
  const auto all = CsvColumns(report.families, {});
  EXPECT_THAT(CsvText(report, all), HasSubstr(",logs,partial,one log failed,"));
  EXPECT_THAT(CsvText(report, all), HasSubstr("192.0.2.7/24"));
  EXPECT_THAT(CsvText(report, all), Not(HasSubstr("\x1b")));
  EXPECT_THROW(CsvColumns(report.families, {"colour"}), ToolError);
}

TEST(InventoryTable, FitsTheTerminalAndShowsWhatIsWrongFirst) {
  const InventoryReport report = Kelvar::Test::SampleReport();
  for (const std::size_t width : {60U, 80U, 200U}) {
    const std::string text = TableText(report, {Colour::Never, width, {}});
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = text.find('\n', at);
      EXPECT_LE(WidthOf(text.substr(at, end - at)), width) << text.substr(at, end - at);
      at = end + 1;
    }
    EXPECT_LT(text.find("Fan 3 Tach"), text.find("Inlet")) << width;
    EXPECT_LT(text.find("health: critical"), text.find("Node 7"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    EXPECT_THAT(text, HasSubstr("logs: partial: one log failed"));
  }
  const std::string wide = TableText(report, {Colour::Never, 0, {}});
  EXPECT_THAT(wide, HasSubstr("24.5  °C"));
  EXPECT_THAT(wide, HasSubstr("8..43 | 5..46 | 2..50"));
  EXPECT_THAT(wide, HasSubstr("2026-03-20 08:15:00  critical"));
  EXPECT_THAT(wide, HasSubstr("3.841 TB"));
  EXPECT_THAT(TableText(report, {Colour::Always, 80, {}}), HasSubstr("\x1b[31m"));
  EXPECT_THAT(TableText(report, {Colour::Never, 80, {"id", "upper_critical"}}), HasSubstr("upper_critical"));
}

TEST(Conclude, CountsWhatIsAbsentOnlyWhereItWasAskedFor) {
  InventoryReport report;
  report.families = {Model::Family::System, Model::Family::Leds};
  report.inventory.ResultOf(Model::Family::System).status = Model::FamilyStatus::Complete;
  report.inventory.ResultOf(Model::Family::Leds).status = Model::FamilyStatus::Absent;
  Conclude(report);
  EXPECT_EQ(report.code, ExitCode::Partial);
  report.all_families = true;
  Conclude(report);
  EXPECT_EQ(report.code, ExitCode::Complete);
  report.inventory.ResultOf(Model::Family::System) = {Model::FamilyStatus::Failed, FailureCause::LoginRefused, ""};
  Conclude(report);
  EXPECT_EQ(report.code, ExitCode::LoginRefused);
  report.inventory.ResultOf(Model::Family::System) = {Model::FamilyStatus::Absent, FailureCause::None, ""};
  Conclude(report);
  EXPECT_EQ(report.code, ExitCode::Unsupported);  // nothing at all is not complete
}

}  // namespace
}  // namespace Kelvar::Tool
