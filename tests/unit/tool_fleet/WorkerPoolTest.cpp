#include "tools/kelvar/pool/WorkerPool.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

namespace Kelvar::Tool {
namespace {

/// What tasks wait for, as a hanging target makes them.
class Gate {
 public:
  void Open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    opened_.notify_all();
  }
  void Pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    opened_.wait(lock, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

struct Counts {
  std::atomic<unsigned> done{0};
  std::atomic<unsigned> late{0};
  std::atomic<unsigned> running{0};
  std::atomic<unsigned> most{0};
};

class Counting : public WorkerPool::Task {
 public:
  explicit Counting(Counts& counts, Gate* gate = nullptr) : counts_(counts), gate_(gate) {}

  void Run() override {
    const unsigned running = ++counts_.running;
    unsigned most = counts_.most;
    while (running > most && !counts_.most.compare_exchange_weak(most, running)) {
    }
    if (gate_ != nullptr) {
      gate_->Pass();
    }
    --counts_.running;
  }
  void Done() override { ++counts_.done; }
  void OnDeadline() override { ++counts_.late; }

 private:
  Counts& counts_;
  Gate* gate_;
};

constexpr std::chrono::milliseconds kShortDeadline{20};

TEST(WorkerPool, AnswersEveryTaskOnNoMoreThreadsThanGiven) {
  constexpr unsigned kTasks = 2000;
  Counts counts;
  WorkerPool pool({7, std::chrono::minutes(1)});
  for (unsigned task = 0; task < kTasks; ++task) {
    pool.Submit(std::make_shared<Counting>(counts));
  }
  EXPECT_TRUE(pool.Finish());
  EXPECT_EQ(counts.done, kTasks);
  EXPECT_EQ(counts.late, 0U);
  EXPECT_LE(counts.most, 7U);
}

TEST(WorkerPool, ReplacesThreadsThatHangAndTakesThemBack) {
  Counts counts;
  Gate gate;
  WorkerPool pool({2, kShortDeadline});
  for (unsigned task = 0; task < 6; ++task) {
    pool.Submit(std::make_shared<Counting>(counts, &gate));
  }
  pool.Submit(std::make_shared<Counting>(counts));
  while (counts.late + counts.done < 7) {
    std::this_thread::yield();
  }
  EXPECT_EQ(counts.late, 6U);
  EXPECT_EQ(counts.done, 1U);
  gate.Open();
  for (unsigned task = 0; task < 100; ++task) {
    pool.Submit(std::make_shared<Counting>(counts));
  }
  while (counts.running > 0) {
    std::this_thread::yield();
  }
  pool.Finish();
  EXPECT_EQ(counts.late + counts.done, 107U);
}

TEST(WorkerPool, AnswersTasksThatNoThreadIsLeftFor) {
  Counts counts;
  Gate gate;
  WorkerPool pool({1, kShortDeadline, 2});
  for (unsigned task = 0; task < 5; ++task) {
    pool.Submit(std::make_shared<Counting>(counts, &gate));
  }
  EXPECT_FALSE(pool.Finish());
  EXPECT_EQ(counts.late, 5U);
  EXPECT_EQ(counts.running, 2U);
  gate.Open();
  while (counts.running > 0) {
    std::this_thread::yield();
  }
}

TEST(WorkerPool, TakesTasksFromItsOwnThreads) {
  struct Chain : WorkerPool::Task {
    Chain(WorkerPool& chainPool, unsigned chainLeft, std::atomic<unsigned>& chainEnded)
        : pool(chainPool), left(chainLeft), ended(chainEnded) {}
    void Run() override {}
    void Done() override {
      if (left > 0) {
        pool.Submit(std::make_shared<Chain>(pool, left - 1, ended));
      }
      ++ended;
    }
    void OnDeadline() override {}
    WorkerPool& pool;
    unsigned left;
    std::atomic<unsigned>& ended;
  };
  std::atomic<unsigned> ended{0};
  WorkerPool pool({3, std::chrono::minutes(1)});
  pool.Submit(std::make_shared<Chain>(pool, 500, ended));
  EXPECT_TRUE(pool.Finish());
  EXPECT_EQ(ended, 501U);
}

}  // namespace
}  // namespace Kelvar::Tool
