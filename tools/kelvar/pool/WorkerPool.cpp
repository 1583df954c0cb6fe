#include "tools/kelvar/pool/WorkerPool.h"

#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

namespace Kelvar::Tool {

namespace {

using Clock = std::chrono::steady_clock;

[[maybe_unused]] constexpr std::size_t kStackBytes = 256 * std::size_t{1024};
constexpr std::chrono::milliseconds kTick{200};

}  // namespace

/// What the threads share. A stuck thread can outlive the pool, and holds this until it ends.
class WorkerPool::State : public std::enable_shared_from_this<State> {
 public:
  explicit State(Settings settings) : settings_(settings) {}

  void Submit(std::shared_ptr<Task> task) {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back(std::move(task));
    ++unanswered_;
    if (idle_ > 0) {
      ready_.notify_one();
    }
    AddWorkers();
  }

  /// The work of the monitor's thread.
  void Watch() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!closed_) {
      Reap(lock);
      if (const auto late = TakeLate()) {
        lock.unlock();
        late->OnDeadline();
        lock.lock();
        Answered();
        continue;
      }
      changed_.wait_until(lock, NextLook());
    }
  }

  void WaitForAnswers(const std::function<void()>& tick) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!allAnswered_.wait_for(lock, kTick, [this] { return unanswered_ == 0; })) {
      if (tick) {
        lock.unlock();
        tick();
        lock.lock();
      }
    }
  }

  bool WaitForAnswers(std::chrono::milliseconds timeLimit) {
    std::unique_lock<std::mutex> lock(mutex_);
    return allAnswered_.wait_for(lock, timeLimit, [this] { return unanswered_ == 0; });
  }

  void Close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    ready_.notify_all();
    changed_.notify_all();
  }

  /// After Close(): waits for all threads that are not stuck, and leaves the others. True when there are none.
  bool JoinWorkers() {
    std::unique_lock<std::mutex> lock(mutex_);
    std::vector<pthread_t> ending;
    for (const Worker& worker : workers_) {
      if (worker.stuck) {
        pthread_detach(worker.thread);
      } else {
        ending.push_back(worker.thread);
      }
    }
    const bool all = ending.size() == workers_.size();
    workers_.remove_if([](const Worker& worker) { return !worker.stuck; });
    lock.unlock();
    for (const pthread_t thread : ending) {
      pthread_join(thread, nullptr);
    }
    return all;
  }

 private:
  struct Worker {
    pthread_t thread{};
    std::shared_ptr<Task> task;  ///< that it runs and is not answered for
    Clock::time_point deadline;
    bool stuck = false;
    bool left = false;
  };
  using Place = std::list<Worker>::iterator;

  struct Start {
    std::shared_ptr<State> state;
    Place place;
  };

  static void* Enter(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    start->state->Work(start->place);
    return nullptr;
  }

  /// As many threads as there is work for; called with the lock held.
  void AddWorkers() {
    while (!closed_ && queue_.size() > idle_ && live_ < settings_.workers && stuck_ < settings_.mostStuck) {
      const int failure = AddWorker();
      if (failure != 0 && live_ == 0 && stuck_ == 0) {
        queue_.pop_back();
        --unanswered_;
        throw std::system_error(failure, std::generic_category(), "no thread");
      }
      if (failure != 0) {
        return;
      }
    }
  }

  int AddWorker() {
    const Place place = workers_.emplace(workers_.end());
    auto start = std::make_unique<Start>(Start{shared_from_this(), place});
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose frames are larger
    pthread_attr_setstacksize(&attributes, kStackBytes);
#endif
    const int failure = pthread_create(&place->thread, &attributes, Enter, start.get());
    pthread_attr_destroy(&attributes);
    if (failure != 0) {
      workers_.erase(place);
      return failure;
    }
    (void)start.release();
    ++live_;
    ++idle_;  // until it takes its first task
    return 0;
  }

  void Work(Place place) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      ready_.wait(lock, [this] { return closed_ || !queue_.empty(); });
      if (closed_) {
        return;
      }
      if (!RunNext(*place, lock)) {
        return;
      }
    }
  }

  /// False when the thread is to end.
  bool RunNext(Worker& worker, std::unique_lock<std::mutex>& lock) {
    const std::shared_ptr<Task> task = std::move(queue_.front());
    queue_.pop_front();
    --idle_;
    worker.task = task;
    worker.deadline = settings_.deadline.count() > 0 ? Clock::now() + settings_.deadline : Clock::time_point::max();
    lock.unlock();
    task->Run();
    lock.lock();
    if (worker.stuck) {
      return Rejoin(worker);
    }
    worker.task.reset();
    lock.unlock();
    task->Done();
    lock.lock();
    Answered();
    ++idle_;
    return true;
  }

  /// Of a thread that was abandoned: it works on when its place is still free.
  bool Rejoin(Worker& worker) {
    if (closed_) {  // whose place is nobody's any more, and which nobody joins
      return false;
    }
    worker.stuck = false;
    --stuck_;
    const bool needed = live_ < settings_.workers;
    worker.left = !needed;
    live_ += needed ? 1 : 0;
    idle_ += needed ? 1 : 0;
    changed_.notify_one();
    return needed;
  }

  void Answered() {
    if (--unanswered_ == 0) {
      allAnswered_.notify_all();
    }
  }

  /// A task whose deadline has passed. Its thread is abandoned.
  std::shared_ptr<Task> TakeLate() {
    const Clock::time_point now = Clock::now();
    for (Worker& worker : workers_) {
      if (worker.task && worker.deadline <= now) {
        worker.stuck = true;
        --live_;
        ++stuck_;
        return AfterAdding(std::exchange(worker.task, nullptr));
      }
    }
    return TakeUnservable(now);
  }

  std::shared_ptr<Task> AfterAdding(std::shared_ptr<Task> task) {
    try {
      AddWorkers();
    } catch (const std::system_error&) {  // only where no thread was ever stuck
    }
    return task;
  }

  /// A waiting task that no thread is left for.
  std::shared_ptr<Task> TakeUnservable(Clock::time_point now) {
    if (live_ > 0 || queue_.empty()) {
      blockedSince_ = now;
      return nullptr;
    }
    if (now - blockedSince_ < settings_.deadline) {
      return nullptr;
    }
    std::shared_ptr<Task> task = std::move(queue_.front());
    queue_.pop_front();
    return task;
  }

  Clock::time_point NextLook() const {
    Clock::time_point next = Clock::now() + kTick;
    for (const Worker& worker : workers_) {
      if (worker.task && worker.deadline < next) {
        next = worker.deadline;
      }
    }
    return next;
  }

  /// Ends what is left of threads that came back and were not needed.
  void Reap(std::unique_lock<std::mutex>& lock) {
    std::list<Worker> left;
    for (Place place = workers_.begin(); place != workers_.end();) {
      const Place next = std::next(place);
      if (place->left) {
        left.splice(left.end(), workers_, place);
      }
      place = next;
    }
    if (left.empty()) {
      return;
    }
    lock.unlock();
    for (const Worker& worker : left) {
      pthread_join(worker.thread, nullptr);
    }
    lock.lock();
  }

  const Settings settings_;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::condition_variable changed_;
  std::condition_variable allAnswered_;
  std::deque<std::shared_ptr<Task>> queue_;
  std::list<Worker> workers_;
  std::size_t unanswered_ = 0;
  std::size_t idle_ = 0;
  unsigned live_ = 0;   ///< threads that are not stuck
  unsigned stuck_ = 0;  ///< abandoned threads
  bool closed_ = false;
  Clock::time_point blockedSince_ = Clock::now();
  std::thread monitor_;

  friend class WorkerPool;
};

WorkerPool::WorkerPool(Settings settings) : state_(std::make_shared<State>(settings)) {
  state_->monitor_ = std::thread([state = state_.get()] { state->Watch(); });
}

WorkerPool::~WorkerPool() {
  Finish();
}

void WorkerPool::Submit(std::shared_ptr<Task> task) {
  state_->Submit(std::move(task));
}

bool WorkerPool::Finish(const std::function<void()>& tick) {
  state_->WaitForAnswers(tick);
  return End();
}

bool WorkerPool::FinishWithin(std::chrono::milliseconds timeLimit) {
  return state_->WaitForAnswers(timeLimit) && End();
}

bool WorkerPool::End() {
  state_->Close();
  if (state_->monitor_.joinable()) {
    state_->monitor_.join();
  }
  return state_->JoinWorkers();
}

}  // namespace Kelvar::Tool
