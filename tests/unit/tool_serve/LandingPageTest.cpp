// What the exporter's own page makes of texts from targets.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/kelvar/serve/LandingPage.h"

namespace Kelvar::Test {
namespace {

using namespace Tool::Serve;

TEST(LandingPage, LetsNoTextOfATargetBecomeMarkup) {
  LastState state;
  state.target = "redfish://bmc?\"><script>alert(1)</script>&x='";
  state.module = "a<b";
  state.end = std::chrono::steady_clock::now();
  state.reason = "<img src=x>\n\x1b[31m";
  const std::string page = LandingPage({"<m>"}, {{{"ipmi://\"<i>"}, {}}}, {state});
  for (const char* const markup : {"<script", "<img", "<m>", "<i>", "a<b", "\x1b", "?\">", "'>"}) {
    EXPECT_EQ(page.find(markup), std::string::npos) << markup;
  }
  EXPECT_THAT(page, testing::HasSubstr("&lt;img src=x&gt;\\x0a\\x1b[31m"));
}

TEST(LandingPage, ShowsABoundedNumberOfTargets) {
  LastStates states;
  for (std::size_t number = 0; number < LastStates::kMost + 500; ++number) {
    LastState state;
    state.target = "redfish://h" + std::to_string(number);
    state.end = std::chrono::steady_clock::time_point(std::chrono::seconds(number));
    states.Put(state.target, state);
  }
  const std::vector<LastState> all = states.All();
  EXPECT_EQ(all.size(), LastStates::kMost);
  EXPECT_THAT(LandingPage({}, {}, all), testing::HasSubstr("and 4000 more"));
  for (const LastState& state : all) {
    EXPECT_GE(state.end.time_since_epoch(), std::chrono::seconds(500))
        << state.target << " is older than those left out";
  }
}

}  // namespace
}  // namespace Kelvar::Test
