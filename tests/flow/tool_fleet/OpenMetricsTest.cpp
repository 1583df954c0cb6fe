// Files for a text-file collector: taken by the parsers of OpenMetrics and of Prometheus.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

constexpr const char* kParse =
    "import sys\n"
    "from prometheus_client.openmetrics.parser import text_string_to_metric_families as parse\n"
    "families = list(parse(open(sys.argv[1]).read()))\n"
    "assert len({f.name for f in families}) == len(families)\n"
    "samples = [(s.name, tuple(sorted(s.labels.items()))) for f in families for s in f.samples]\n"
    "assert len(set(samples)) == len(samples), 'a series twice'\n"
    "print(len({dict(labels)['target'] for name, labels in samples}), 'targets')\n"
    "print([f.type for f in families if f.name == 'kelvar_energy_joules'])\n";

TEST(OpenMetrics, IsOneDocumentForAllTargets) {
  const BmcSim redfish("rack-gen7", {"--serve", "redfish"});
  const BmcSim awkward("awkward", {"--serve", "redfish,ipmi"});
  const std::string first = "redfish://admin@127.0.0.1:" + std::to_string(redfish.Port("redfish"));
  const std::string second = "redfish://admin@127.0.0.1:" + std::to_string(awkward.Port("redfish"));
  const std::string third = "ipmi://admin@127.0.0.1:" + std::to_string(awkward.Port("ipmi"));
  const TemporaryFolder folder;
  const std::string list = folder.Write(
      "list", first + "\n" + first + "\n" + second + "\n" + third + "\nnot a target\nredfish://admin@127.0.0.1:9\n");
  for (const auto& [words, targets] :
       {std::pair<std::vector<std::string>, std::string>{{"--targets", list, "--quiet"}, "6"}, {{second}, "1"}}) {
    std::vector<std::string> all = words;
    all.insert(all.end(), {"--format", "openmetrics"});
    const CommandResult result = RunTool(all);
    EXPECT_EQ(result.output.substr(result.output.size() - 7), "\n# EOF\n");
    const std::string file = folder.Write("metrics", result.output);
    const CommandResult parsed = RunCommand({"/usr/bin/python3", "-c", kParse, file});
    EXPECT_EQ(parsed.exitCode, 0) << parsed.errors;
    EXPECT_THAT(parsed.output, HasSubstr(targets + " targets\n"));
    const CommandResult promtool = RunCommand({"sh", "-c", "promtool check metrics <" + file});
    EXPECT_THAT(promtool.errors, testing::Not(HasSubstr("error while"))) << promtool.errors;
  }
}

TEST(OpenMetrics, NamesATargetWithoutItsUser) {
  const CommandResult result = RunTool({"redfish://admin@127.0.0.1:9", "--format", "openmetrics"});
  EXPECT_EQ(result.exitCode, 10);
  EXPECT_THAT(result.output, HasSubstr("\nkelvar_up{target=\"redfish://127.0.0.1:9\"} 0\n"));
  EXPECT_THAT(RunTool({"operation", "redfish://admin@h", "--format", "openmetrics"}).errors,
              HasSubstr("openmetrics not in"));
}

}  // namespace
}  // namespace Kelvar::Test
