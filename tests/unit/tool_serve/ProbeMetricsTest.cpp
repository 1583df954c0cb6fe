// What a hostile target can make of its metrics.

#include <cmath>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/kelvar/serve/Exporter.h"
#include "tools/kelvar/serve/ProbeMetrics.h"

namespace Kelvar::Test {
namespace {

using namespace Tool;
using namespace Tool::Serve;
using testing::HasSubstr;

std::string SensorMetrics(const std::vector<std::string>& names, float reading = 1) {
  OperationResult result{&OperationNamed("sensors")};
  for (const std::string& name : names) {
    KelvarNfw::NUMERICSENSORS sensor;
    sensor.ElementName = name;
    sensor.CurrentReading = reading;
    result.records.push_back(RecordOf(sensor));
  }
  ProbeMetrics metrics;
  metrics.Add(result, Protocol::Redfish);
  metrics.Add(result, Protocol::Redfish);  // a word that a module has twice
  return metrics.Text(1, true);
}

std::size_t ProbePool(const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find("\nkelvar_sensor_reading{", at)) != std::string::npos; ++at) {
    ++count;
  }
  return count;
}

TEST(ProbeMetrics, GiveEachNameOnce) {
  const std::string text = SensorMetrics({"A", "A #2", "A", "A", ""});
  for (const char* name : {"A", "A #2", "A #3", "A #4", "unnamed"}) {
    EXPECT_THAT(text, HasSubstr("kelvar_sensor_reading{sensor=\"" + std::string(name) + "\",unit=\"\"} 1\n"));
  }
  EXPECT_EQ(ProbePool(text), 5U);
}

TEST(ProbeMetrics, BoundNamesAndTheirNumber) {
  const std::string accents(5'000, '\xC3');
  std::vector<std::string> names(5000, "x\"\n\\" + accents);
  names[1] = std::string(127, 'y') + "\xC3\xA9";
  const std::string text = SensorMetrics(names);
  EXPECT_EQ(ProbePool(text), 2000U);
  EXPECT_THAT(text, HasSubstr("\nkelvar_probe_dropped_items 3000\n"));
  EXPECT_THAT(text, HasSubstr("{sensor=\"x\\\"\\\\x0a\\\\\\\\xc3"));
  EXPECT_THAT(text, HasSubstr("{sensor=\"" + std::string(127, 'y') + "\",unit"));  // no half character
  EXPECT_LT(text.size(), 1'000'000U);
}

TEST(ProbeMetrics, WriteNumbersThatPrometheusReads) {
  EXPECT_THAT(SensorMetrics({"A"}, 12.14F), HasSubstr("unit=\"\"} 12.14\n"));
  EXPECT_THAT(SensorMetrics({"A"}, HUGE_VALF), HasSubstr("unit=\"\"} +Inf\n"));
  EXPECT_THAT(SensorMetrics({"A"}, NAN), HasSubstr("unit=\"\"} NaN\n"));
}

TEST(ScrapeTimeout, LeavesAMargin) {
  using std::chrono::milliseconds;
  const milliseconds longest(30'000);
  EXPECT_EQ(TimeFor("10", longest), milliseconds(9500));
  EXPECT_EQ(TimeFor("1", longest), milliseconds(750));
  EXPECT_EQ(TimeFor("100.5", longest), longest);
  for (const char* no : {"", "ten", "10s", "-1", "0", "nan", "inf", "1e300"}) {
    EXPECT_EQ(TimeFor(no, longest), longest) << no;
  }
}

}  // namespace
}  // namespace Kelvar::Test
