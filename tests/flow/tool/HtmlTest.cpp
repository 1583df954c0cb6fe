// The page for browsers, as a browser sees it.

#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/TemporaryFolder.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// The machine "full" with markup in the names of its manufacturer, its product, a sensor and a log entry.
void MakeHostileMachine(const fs::path& folder) {
  fs::copy(fs::path(kMachineFolder) / "full", folder, fs::copy_options::recursive);
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".json") {
      std::string text = ContentOf(entry.path());
      text = Replaced(text, ": \"Tavrik\"", ": \"<script>document.title='owned'</script>\"");
      text = Replaced(text, "Kestrel RT140", "'><img src=x onerror=document.title='owned'>");
      text = Replaced(text, "Ambient Temp", "</table></section><svg onload=document.title='owned'>");
      text = Replaced(text, "Numeric sensor", "\\\" onclick='x'><a href='javascript:document.title=1'>&lt;");
      std::ofstream(entry.path()) << text;
    }
  }
}

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
    ++count;
  }
  return count;
}

/// The document after its scripts ran.
std::string Browse(const fs::path& page, const fs::path& profile) {
  return RunCommand({"timeout", "50", "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                     "--no-first-run", "--disable-background-networking", "--disable-component-update",
                     "--disable-sync", "--disable-dev-shm-usage", "--user-data-dir=" + profile.native(),
                     "--virtual-time-budget=10000", "--dump-dom", "file://" + page.native()})
      .output;
}

TEST(Html, KeepsMarkupOfTheTargetFromTheBrowser) {
  const TemporaryFolder folder;
  const fs::path page = folder / "page.html";
  MakeHostileMachine(folder / "hostile");
  const BmcSim sim(folder / "hostile", {"--serve", "redfish"});
  const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(sim.Port("redfish"));
  std::ofstream(page) << RunTool({target, "--format", "html"}).output;
  const std::string document = Browse(page, folder / "profile");
  EXPECT_THAT(document, HasSubstr("<title>Inventory</title>"));
  EXPECT_EQ(Count(document, "<script"), 3U);  // summary, data, and the page's own
  EXPECT_THAT(document, Not(HasSubstr("<img")));
  EXPECT_THAT(document, Not(HasSubstr("<a href=\"javascript")));
  EXPECT_THAT(document, HasSubstr("&lt;script&gt;document.title='owned'&lt;/script&gt;"));
  EXPECT_THAT(document, HasSubstr("data-ready=\"true\""));
}

TEST(Html, ShowsManyTargetsAndNeedsNothingElse) {
  const BmcSim full("full", {"--serve", "redfish"});
  const BmcSim awkward("awkward", {"--serve", "redfish"});
  const TemporaryFolder folder;
  const std::string list =
      folder.Write("list", "redfish://admin@127.0.0.1:" + std::to_string(full.Port("redfish")) +
                               "\nredfish://admin@127.0.0.1:" + std::to_string(awkward.Port("redfish")) +
                               "\nredfish://admin@127.0.0.1:9\n");
  const CommandResult result = RunTool({"--targets", list, "--format", "html"});
  EXPECT_EQ(result.exitCode, 21);
  EXPECT_EQ(Count(result.output, "class=\"summary\""), 3U);
  EXPECT_EQ(Count(result.output, " src=") + Count(result.output, "href=\"http") + Count(result.output, "url("), 0U);
  const fs::path page = folder.Write("page.html", result.output);
  const std::string document = Browse(page, folder / "profile");
  EXPECT_THAT(document, HasSubstr("<b>3</b>machines"));
  EXPECT_THAT(document, HasSubstr("<b>1</b>unreachable"));
}

TEST(Html, ShowsWhatChangedSinceAFormerRun) {
  const BmcSim changed("full", {"--serve", "redfish"});
  const BmcSim same("full", {"--serve", "redfish"});
  const TemporaryFolder folder;
  const std::string target = "redfish://admin@127.0.0.1:" + std::to_string(changed.Port("redfish"));
  const std::string other = "redfish://admin@127.0.0.1:" + std::to_string(same.Port("redfish"));
  const std::string list = folder.Write("list", target + '\n' + other + '\n');
  std::string former = RunTool({target, "--format", "jsonl"}).output;
  former = Replaced(former, R"("version":"TBC119H-2.31")", R"("version":"<b>TBC118</b>")");
  former += RunTool({other, "--format", "jsonl"}).output;
  former += R"({"target":"redfish://gone","status":"complete","families":{}})";
  const CommandResult result =
      RunTool({"--targets", list, "--diff", folder.Write("former", former), "--format", "html"});
  EXPECT_EQ(result.exitCode, 22) << result.errors;
  const fs::path page = folder.Write("page.html", result.output);
  const std::string document = Browse(page.native() + '#' + Replaced(target, "/", "%2F"), folder / "profile");
  EXPECT_THAT(document, HasSubstr("<b>3</b>machines"));
  EXPECT_THAT(document, HasSubstr("<b>2</b>changed"));
  EXPECT_THAT(document, HasSubstr("<del>&lt;b&gt;TBC118&lt;/b&gt;</del> → <ins>TBC119H-2.31</ins>"));
  EXPECT_THAT(document, HasSubstr("<div class=\"changed\">changed: firmware"));
  EXPECT_THAT(document, HasSubstr("no longer in the list of targets"));
  EXPECT_THAT(document, HasSubstr("TLSv1.3, certificate not verified"));
  EXPECT_THAT(document, HasSubstr("data-ready=\"true\""));
}

}  // namespace
}  // namespace Kelvar::Test
