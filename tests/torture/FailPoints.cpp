#include "torture/FailPoints.h"

namespace Kelvar::Test {
namespace {

// Plain data: the allocator itself looks at them.
thread_local bool armed = false;
thread_local FailPlan plan;
thread_local std::size_t calls = 0;
thread_local bool struck = false;
thread_local long liveBlocks = 0;

}  // namespace

FailPoints::FailPoints(const FailPlan& newPlan) {
  plan = newPlan;
  calls = 0;
  struck = false;
  armed = true;
}

FailPoints::~FailPoints() {
  armed = false;
}

std::size_t FailPoints::Calls() const {
  return calls;
}

bool FailPoints::Struck() const {
  return struck;
}

bool MustFail(FailKind kind) noexcept {
  if (!armed || kind != plan.kind) {
    return false;
  }
  const std::size_t number = calls++;
  const bool fails = number == plan.first || (plan.forGood && number > plan.first);
  struck = struck || fails;
  return fails;
}

long LiveBlocks() noexcept {
  return liveBlocks;
}

void CountBlocks(long more) noexcept {
  liveBlocks += more;
}

}  // namespace Kelvar::Test
