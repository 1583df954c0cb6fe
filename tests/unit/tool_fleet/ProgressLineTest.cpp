#include "tools/kelvar/fleet/ProgressLine.h"

#include <gmock/gmock.h>

namespace Kelvar::Tool {

namespace {

using testing::HasSubstr;
using testing::Not;

Counts Of(std::size_t complete, std::size_t unreachable) {
  return {.byCode = {{ExitCode::Complete, complete}, {ExitCode::Unreachable, unreachable}},
          .answered = complete + unreachable};
}

TEST(ProgressLine, FitsTheTerminal) {
  const Counts counts = Of(240, 10);
  EXPECT_EQ(ProgressText(counts, 1000, 60, 40), "250 of 1000 done, 10 failed, 3:00 left");
  EXPECT_EQ(ProgressText(counts, 1000, 60, 80),
            "[#########..............................] 250 of 1000 done, 10 failed, 3:00 left");
  EXPECT_EQ(ProgressText(counts, 1000, 60, 200),
            "[##########..............................] 250 of 1000 done, 10 failed, 3:00 left");
}

TEST(ProgressLine, LeavesOutWhatHasNoRoom) {
  const Counts counts = Of(123456, 7890);
  for (std::size_t columns = 0; columns <= 200; ++columns) {
    EXPECT_LE(ProgressText(counts, 2'000'000, 5000, columns).size(), columns);
  }
  EXPECT_EQ(ProgressText(counts, 2'000'000, 5000, 30), "131346 of 2000000 done");
  EXPECT_EQ(ProgressText(counts, 2'000'000, 5000, 10), "131346 of ");
}

TEST(ProgressLine, TellsOnlyWhatIsKnown) {
  EXPECT_EQ(ProgressText(Of(0, 0), 8, 3, 30), "[................] 0 of 8 done");
  EXPECT_EQ(ProgressText(Of(8, 0), 8, 3, 30), "[################] 8 of 8 done");
  EXPECT_THAT(ProgressText(Of(1, 0), 100, 100, 80), HasSubstr("1 of 100 done, 2:45:00 left"));
  EXPECT_THAT(ProgressText(Of(1, 0), 20000, 100, 80), Not(HasSubstr("left")));
  EXPECT_EQ(ProgressText(Of(0, 0), 0, 0, 80), "0 of 0 done");
}

}  // namespace

}  // namespace Kelvar::Tool
