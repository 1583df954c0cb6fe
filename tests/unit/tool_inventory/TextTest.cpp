#include <gtest/gtest.h>

#include "tools/kelvar/inventory/DisplayText.h"
#include "tools/kelvar/inventory/IsoTime.h"
#include "tools/kelvar/inventory/TableLayout.h"

namespace Kelvar::Tool {
namespace {

TEST(DisplayText, LimitsNameEveryLevel) {
  Model::Sensor sensor;
  EXPECT_EQ(LimitsText(sensor), "");
  sensor.upper_critical = 46;
  EXPECT_EQ(LimitsText(sensor), "- | 46");
  sensor.lower_caution = 5;
  sensor.upper_caution = 43;
  sensor.upper_fatal = 50.25;
  EXPECT_EQ(LimitsText(sensor), "5..43 | 46 | 50.25");
}

TEST(DisplayText, AReadingThatIsNotThereSaysWhy) {
  Model::Sensor sensor;
  sensor.state = "enabled";
  EXPECT_EQ(ReadingText(sensor), "");
  sensor.state = "disabled";
  EXPECT_EQ(ReadingText(sensor), "disabled");
  sensor.states = {"presence detected", "predictive failure"};
  EXPECT_EQ(ReadingText(sensor), "presence detected, predictive failure");
  sensor.reading = 75.5;
  sensor.unit = "[degF]";
  EXPECT_EQ(ReadingText(sensor), "75.5 °F");
}

TEST(DisplayText, NumbersLoseNothingThatMatters) {
  EXPECT_EQ(NumberText(0.0), "0");
  EXPECT_EQ(NumberText(-0.00001), "0");
  EXPECT_EQ(NumberText(2.871), "2.871");
  EXPECT_EQ(NumberText(1e300), "1e+300");
  EXPECT_EQ(NumberText(std::nullopt), "");
}

TEST(DisplayText, ADateHasNoTimeUnlessItTellsOne) {
  EXPECT_EQ(DateText("2026-03-14T00:00:00Z"), "2026-03-14");
  EXPECT_EQ(DateText("2026-03-14T10:00:00Z"), "2026-03-14 10:00:00");
  EXPECT_EQ(DateText("spring"), "spring");
}

TEST(IsoTime, NeedsAZoneAndARealDate) {
  EXPECT_EQ(SecondsOfIsoTime("1970-01-01T01:00:01+01:00"), 1);
  EXPECT_EQ(SecondsOfIsoTime("2026-03-20T08:15:00.123456Z"), 1773994500);
  EXPECT_EQ(SecondsOfIsoTime("2026-03-20T08:15:00"), std::nullopt);
  EXPECT_EQ(SecondsOfIsoTime("2026-02-30T08:15:00Z"), std::nullopt);
  EXPECT_EQ(SecondsOfIsoTime("2026-03-20T08:15:00+1"), std::nullopt);
}

TEST(TableLayout, DropsTheLeastImportantAndWrapsLongTexts) {
  const std::vector<TableColumn> columns = {
      {"Name", 9, false, false}, {"Text", 8, true, false}, {"Extra", 1, false, false}};
  const std::vector<TableRow> rows = {{{"fan", "a long text that goes on", "xtra"}, Model::Health::Critical}};
  EXPECT_EQ(LayoutTable(columns, rows, 0, Colour::Never),
            "  Name  Text                      Extra\n  fan   a long text that goes on  xtra\n");
  EXPECT_EQ(LayoutTable(columns, rows, 32, Colour::Never), "  Name  Text\n  fan   a long text that goes on\n");
  EXPECT_EQ(LayoutTable(columns, rows, 24, Colour::Never), "  Name  Text\n  fan   a long text that\n        goes on\n");
  for (std::size_t width = 18; width < 50; ++width) {
    const std::string table = LayoutTable(columns, rows, width, Colour::Never);
    for (const std::string& line : {table.substr(0, table.find('\n'))}) {
      EXPECT_LE(WidthOf(line), width);
    }
  }
}

}  // namespace
}  // namespace Kelvar::Tool
