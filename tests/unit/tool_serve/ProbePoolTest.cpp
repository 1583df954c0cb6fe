// Who shares a reading, who waits, and what becomes of a stuck one.

#include <condition_variable>
#include <mutex>

#include <gtest/gtest.h>

#include "tools/kelvar/serve/ProbePool.h"

namespace Kelvar::Test {
namespace {

using namespace Tool;
using namespace Tool::Serve;

constexpr auto kTimeLimit = std::chrono::seconds(20);

/// Holds every reading up until it is let go, and counts.
class Bench {
 public:
  Report Read(const Probe& probe) {
    std::unique_lock lock(mutex_);
    ++begun_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_ > 0; });
    --open_;
    lock.unlock();
    Report report;
    report.code = ExitCode::Unreachable;
    report.target = probe.target.address;
    return report;
  }
  ProbePool::Read Reader() {
    return [this](const Probe& probe) { return Read(probe); };
  }
  ProbePool::Done Done() {
    return [this](const std::shared_ptr<const ProbePool::Result>& result) {
      const std::lock_guard lock(mutex_);
      ++answered_;
      last_ = result;
      changed_.notify_all();
    };
  }
  void LetGo(int count) {
    const std::lock_guard lock(mutex_);
    open_ += count;
    changed_.notify_all();
  }
  bool WaitFor(int Bench::*counter, int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kTimeLimit, [&] { return this->*counter >= count; });
  }

  int begun_ = 0;
  int answered_ = 0;
  std::shared_ptr<const ProbePool::Result> last_;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int open_ = 0;
};

Probe ProbeOf(const std::string& address) {
  return {ParseTarget(address), {"module", {}}, {}};
}

const Probe kOne = ProbeOf("redfish://one");
const Probe kTwo = ProbeOf("redfish://two");

TEST(ProbePool, SharesReadingsByTargetAndModule) {
  Bench bench;
  ProbePool pool(4, bench.Reader());
  Probe other = kOne;
  other.module.name = "other";
  for (int i = 0; i < 5; ++i) {
    pool.Subscribe(kOne, bench.Done());
    pool.Subscribe(other, bench.Done());
    pool.Subscribe(ProbeOf("redfish://one:443"), bench.Done());  // the same, written otherwise
  }
  ASSERT_TRUE(bench.WaitFor(&Bench::begun_, 2));
  bench.LetGo(2);
  ASSERT_TRUE(bench.WaitFor(&Bench::answered_, 15));
  EXPECT_NE(bench.last_->report, nullptr);
  EXPECT_TRUE(pool.Stop(kTimeLimit));
  EXPECT_EQ(pool.Counted().begun, 2U);
  EXPECT_EQ(pool.Counted().shared, 13U);
}

TEST(ProbePool, LetsProbesWaitForAThread) {
  Bench bench;
  ProbePool pool(1, bench.Reader());
  pool.Subscribe(kOne, bench.Done());
  const auto late = pool.Subscribe(kTwo, bench.Done());
  pool.Subscribe(ProbeOf("ipmi://three"), bench.Done());
  EXPECT_EQ(pool.Counted().waiting, 2U);
  const auto result = pool.Cancel(kTwo, late);
  ASSERT_NE(result, nullptr);
  EXPECT_FALSE(result->started);
  bench.LetGo(2);
  ASSERT_TRUE(bench.WaitFor(&Bench::answered_, 2));
  EXPECT_TRUE(pool.Stop(kTimeLimit));
  EXPECT_EQ(pool.Counted().begun, 2U);  // nobody wanted the one that was left
}

TEST(ProbePool, SharesNoReadingThatNobodyWaitsFor) {
  Bench bench;
  ProbePool pool(1, bench.Reader());
  const auto first = pool.Subscribe(kOne, bench.Done());
  ASSERT_TRUE(bench.WaitFor(&Bench::begun_, 1));
  const auto left = pool.Cancel(kOne, first);
  EXPECT_TRUE(left->started);
  EXPECT_EQ(left->report, nullptr);
  EXPECT_EQ(pool.Cancel(kOne, first), nullptr);
  EXPECT_EQ(pool.Counted().leftBehind, 1U);
  pool.Subscribe(kOne, bench.Done());
  EXPECT_EQ(pool.Counted().begun, 1U);
  bench.LetGo(1);
  ASSERT_TRUE(bench.WaitFor(&Bench::begun_, 2));  // a new one, for who came later
  bench.LetGo(1);
  ASSERT_TRUE(bench.WaitFor(&Bench::answered_, 1));
  EXPECT_NE(bench.last_->report, nullptr);
  EXPECT_TRUE(pool.Stop(kTimeLimit));
}

TEST(ProbePool, TellsWhetherAnyIsStuckAtTheEnd) {
  Bench bench;
  ProbePool pool(1, bench.Reader());
  pool.Subscribe(kOne, bench.Done());
  ASSERT_TRUE(bench.WaitFor(&Bench::begun_, 1));
  EXPECT_FALSE(pool.Stop(std::chrono::milliseconds(1)));
  bench.LetGo(1);
  EXPECT_TRUE(pool.Stop(kTimeLimit));
}

}  // namespace
}  // namespace Kelvar::Test
