// What programs get to read: JSON by its schema, JSON lines, comma-separated values.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "flow/tool/ToolRun.h"
#include "support/JsonSchema.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Formats, JsonKeepsToItsSchema) {
  for (const char* target :
       {"demo:redfish", "demo:cim", "demo:ipmi", "demo:ipmi?machine=amd", "demo:redfish?machine=awkward",
        "demo:cim?machine=awkward", "demo:ipmi?machine=awkward", "redfish://admin@127.0.0.1:9"}) {
    const CommandResult result = RunOperation({target, "--format", "json", "-q"});
    EXPECT_EQ(Breach(InTree("docs/report.schema.json"), result.output), "") << target;
  }
  const CommandResult result =
      RunOperation({"demo:", "system", "maintenance-log", "active-events", "--format", "jsonl"});
  EXPECT_EQ(Breach(InTree("docs/report.schema.json"), result.output), "");
  EXPECT_EQ(result.output.find('\n'), result.output.size() - 1);
  std::string other = result.output;
  other.replace(other.find("\"ModelName\""), 11, "\"Modelname\"");
  EXPECT_EQ(Breach(InTree("docs/report.schema.json"), other), "#/results/0: anyOf");  // the schema is not empty
}

TEST(Formats, CsvHasALineAField) {
  const CommandResult result = RunOperation({"demo:", "system", "--format", "csv"});
  EXPECT_EQ(result.output,
            "target,what,status,record,field,value\r\n"
            "demo:,system,complete,1,MachineType,7K40\r\n"
            "demo:,system,complete,1,SerialNumber,KV4A017\r\n"
            "demo:,system,complete,1,ModelName,rt140\r\n");
  const CommandResult none = RunOperation({"redfish://admin@127.0.0.1:9", "system", "--format", "csv", "-q"});
  EXPECT_THAT(none.output, HasSubstr("redfish://admin@127.0.0.1:9,system,unreachable,,,"));
}

TEST(Formats, CsvHidesFormulasAndEscapesFromSpreadsheets) {
  const std::string output = RunOperation({"demo:ipmi?machine=awkward", "--format", "csv", "-q"}).output;
  EXPECT_THAT(output, HasSubstr(",uEFIBackUpBuildID,\\x1b[31mTBE001-0.9"));
  EXPECT_THAT(output, Not(HasSubstr("\x1b")));
}

TEST(Formats, AsksForEverythingThatTheTargetOffers) {
  const CommandResult result = RunOperation({"demo:ipmi", "--color", "never"});
  EXPECT_EQ(result.exitCode, 0) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("\ncomponents\n"));
  EXPECT_THAT(result.output, Not(HasSubstr("software")));  // only AMD platforms have it
  EXPECT_THAT(RunOperation({"demo:ipmi?machine=amd"}).output, HasSubstr("software"));
  EXPECT_THAT(RunOperation({"demo:ipmi", "system", "--color", "always"}).output, HasSubstr("\x1b[1msystem\x1b[0m\n"));
}

std::vector<std::string> LogTimes(std::vector<std::string> options) {
  options.insert(options.begin(), {"demo:", "logs", "--format", "jsonl"});
  rapidjson::Document document;
  document.Parse(RunTool(options).output.c_str());
  std::vector<std::string> times;
  for (const auto& entry : document["logs"].GetArray()) {
    times.push_back(std::string(entry["severity"].GetString()) + ' ' + entry["created"].GetString());
  }
  return times;
}

TEST(Logs, AreLimitedAfterTheLessSevereAreLeftOut) {
  const std::string newest = "critical 2026-03-20T06:30:11Z";
  const std::string other = "critical 2026-03-17T11:45:03Z";
  const std::string platform = "critical 2026-03-17T11:44:59Z";
  EXPECT_EQ(LogTimes({"--severity", "critical", "--limit", "2"}),
            (std::vector<std::string>{newest, other, platform, newest, other}));
  EXPECT_EQ(LogTimes({"--severity", "critical", "--limit", "2", "--oldest-first"}),
            (std::vector<std::string>{other, newest, platform, other, newest}));
  EXPECT_EQ(LogTimes({"--severity", "warning", "--since", "2026-03-21"}),
            (std::vector<std::string>{"warning 2026-03-21T09:12:00Z"}));
  EXPECT_EQ(LogTimes({}).size(), 22U);
}

}  // namespace
}  // namespace Kelvar::Test
