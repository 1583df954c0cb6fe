// Texts, dates and units of targets as the model holds them.

#include <gtest/gtest.h>

#include "module/reader/cim/CimText.h"
#include "module/reader/redfish/Fetcher.h"
#include "module/reader/redfish/SensorUnits.h"
#include "module/reader/text/ModelText.h"

namespace Kelvar::Reader {
namespace {

struct TextCase {
  const char* told;
  const char* taken;
};

TEST(ModelText, PlaceholdersAreAbsent) {
  for (const auto& [told, taken] : std::initializer_list<TextCase>{{"  A 1 \r\n", "A 1"},
                                                                   {"", ""},
                                                                   {"          ", ""},
                                                                   {"To Be Filled By O.E.M.", ""},
                                                                   {"n/a", ""},
                                                                   {"NA", ""},
                                                                   {"Unknown", ""},
                                                                   {"null", ""},
                                                                   {"....", ""},
                                                                   {"Default string", ""},
                                                                   {"00000000", ""},
                                                                   {"0", "0"},
                                                                   {"3", "3"},
                                                                   {"Nano", "Nano"},
                                                                   {"Unknown Labs", "Unknown Labs"}}) {
    EXPECT_EQ(CleanText(told), taken) << told;
  }
}

TEST(ModelText, DatesAreValidOrAbsent) {
  for (const auto& [told, taken] :
       std::initializer_list<TextCase>{{"2026-03-20T08:15:00Z", "2026-03-20T08:15:00Z"},
                                       {"2026-03-20T08:15:00.123456+06:00", "2026-03-20T08:15:00.123456+06:00"},
                                       {"2024-02-29T00:00:00-00:30", "2024-02-29T00:00:00-00:30"},
                                       {"2026-03-20T08:15:00.5-0630", "2026-03-20T08:15:00.5-06:30"},
                                       {"2026-03-20 08:15:00Z", "2026-03-20T08:15:00Z"},
                                       {"2026-03-20T08:15:00+6000", ""},
                                       {"2026-02-29T00:00:00Z", ""},
                                       {"2026-03-20T08:15:00", ""},
                                       {"2026-03-20T08:15+06:00", ""},
                                       {"2026-03-20T08:15.00-06:00", ""},
                                       {"2026-03-20T24:15:00Z", ""},
                                       {"2026-03-20T08:15:00.Z", ""},
                                       {"0000-00-00T00:00:00Z", ""},
                                       {"1970-01-01T00:00:12Z", ""},
                                       {"2026-03-20", ""},
                                       {"03/20/2026", ""}}) {
    EXPECT_EQ(DateTime(told), taken) << told;
  }
  EXPECT_EQ(Date("2026-03-20"), "2026-03-20");
  EXPECT_EQ(Date("2026-03-20T08:15:00"), "2026-03-20T08:15:00");
  EXPECT_EQ(Date("2026-03-20 08:15:00"), "2026-03-20T08:15:00");
  EXPECT_EQ(Date("2026-13-20"), "");
  EXPECT_EQ(Instant("1972-01-01"), 2 * 365 * 86400.0);
  EXPECT_EQ(Instant("2026-03-20T08:15:00.5+01:00"), 1773990900.5);
  EXPECT_EQ(Instant("2026-03-20T06:15:00-01:00"), Instant("2026-03-20T07:15:00Z"));
  EXPECT_FALSE(Instant("yesterday"));
}

TEST(ModelText, WordsAndAddresses) {
  EXPECT_EQ(Word("StandbyOffline"), "standby_offline");
  EXPECT_EQ(Word("GPUSubsystem"), "gpu_subsystem");
  EXPECT_EQ(Word("CPU"), "cpu");
  EXPECT_EQ(Word("a\nb"), "");
  EXPECT_EQ(MacAddress("AA-BB-CC-00-11-22"), "aa:bb:cc:00:11:22");
  EXPECT_EQ(MacAddress("00:00:00:00:00:00"), "");
  EXPECT_EQ(MacAddress("aa:bb:cc"), "");
  EXPECT_EQ(Uuid("00112233445566778899AABBCCDDEEFF"), "00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_EQ(Uuid("00000000-0000-0000-0000-000000000000"), "");
  EXPECT_EQ(Uuid("not one"), "");
  EXPECT_TRUE(NaturalLess("Fan 2", "Fan 10"));
  EXPECT_FALSE(NaturalLess("Fan 10", "Fan 2"));
  EXPECT_TRUE(NaturalLess("Fan 02", "Fan 2") != NaturalLess("Fan 2", "Fan 02"));
  EXPECT_FALSE(NaturalLess("a", "a"));
}

TEST(SensorUnits, AreUcumWithTheirFactor) {
  struct Case {
    const char* type;
    const char* units;
    const char* kind;
    const char* unit;
    double factor;
  };
  for (const auto& [type, units, kind, unit, factor] :
       std::initializer_list<Case>{{"Temperature", "Cel", "temperature", "Cel", 1},
                                   {"", "degrees C", "temperature", "Cel", 1},
                                   {"EnergykWh", "kW.h", "energy", "J", 3.6e6},
                                   {"EnergykWh", "", "energy", "J", 3.6e6},
                                   {"Rotational", "RPM", "fan", "{rev}/min", 1},
                                   {"", "Percent", "percent", "%", 1},
                                   {"Voltage", "mV", "voltage", "V", 1e-3},
                                   {"", "", "other", "", 1},
                                   {"Strange", "furlong", "other", "furlong", 1}}) {
    const ReadingShape shape = ShapeOf(type, units, "name");
    EXPECT_EQ(shape.kind, kind) << type << units;
    EXPECT_EQ(shape.unit, unit) << type << units;
    EXPECT_DOUBLE_EQ(shape.factor, factor) << type << units;
  }
  EXPECT_EQ(ShapeOf("Percent", "%", "Core Utilization").kind, "utilization");
  EXPECT_EQ(ShapeOf("Percent", "%", "System Board CPU Usage").kind, "utilization");
}

TEST(CimText, DatesAndWords) {
  EXPECT_EQ(DateTimeOfCim("20260314080112.000000+000"), "2026-03-14T08:01:12Z");
  EXPECT_EQ(DateTimeOfCim("20260314080112.250000-090"), "2026-03-14T08:01:12.250000-01:30");
  EXPECT_EQ(DateTimeOfCim("20260314080112.000000"), "");
  EXPECT_EQ(DateOfBuild("20260314"), "2026-03-14");
  EXPECT_EQ(DateOfBuild("20261314"), "");
  EXPECT_EQ(SeverityOfCim("Degraded/Warning"), "warning");
  EXPECT_EQ(SeverityOfCim("Other"), "unknown");
  EXPECT_EQ(HealthOfCim("Critical Failure"), "critical");
  EXPECT_EQ(KindOfComponent("drive backplane 1"), "backplane");
}

TEST(RetryAfterHeader, IsSecondsOrADate) {
  EXPECT_EQ(RetryAfter("7", 0), std::chrono::seconds(7));
  EXPECT_EQ(RetryAfter("Thu, 01 Jan 1970 00:01:00 GMT", 50), std::chrono::seconds(10));
  EXPECT_EQ(RetryAfter("Thu, 01 Jan 1970 00:01:00 GMT", 500), std::chrono::seconds(0));
  EXPECT_FALSE(RetryAfter("", 0));
  EXPECT_FALSE(RetryAfter("-5", 0));
  EXPECT_FALSE(RetryAfter("soon", 0));
}

}  // namespace
}  // namespace Kelvar::Reader
