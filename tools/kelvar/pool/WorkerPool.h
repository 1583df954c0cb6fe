#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace Kelvar::Tool {

/// Runs tasks that block on a fixed number of threads, each task for no longer than a deadline: past it the task is
/// answered for, its thread is abandoned, and another takes its place. The one place for threads that may hang.
class WorkerPool {
 public:
  struct Settings {
    unsigned workers = 1;
    std::chrono::milliseconds deadline{0};  ///< of one task, from its start; 0: none
    unsigned mostStuck = 256;               ///< threads that are abandoned at one time
  };

  /// For each task either Done() or OnDeadline() is called, once. Nothing of it may throw.
  class Task {
   public:
    virtual ~Task() = default;
    /// On a thread with a stack of 256 KiB. May block.
    virtual void Run() = 0;
    /// On the same thread, when Run() was in time.
    virtual void Done() = 0;
    /// On another thread, at the deadline, while Run() still runs; or without Run() when as many threads as may be
    /// are stuck and none came back for the length of a deadline.
    virtual void OnDeadline() = 0;
  };

  explicit WorkerPool(Settings settings);
  /// Finish() comes first.
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Any thread, also inside Done() and OnDeadline(). Throws std::system_error when there is no thread and none can be
  /// made.
  void Submit(std::shared_ptr<Task> task);

  /// Waits until every task is answered for, calling `tick` several times a second, and ends the threads. False when
  /// some are still stuck: they use what their tasks use until they end, so the process is best left by _exit().
  bool Finish(const std::function<void()>& tick = {});

  /// The same for no longer than `timeLimit`. False when tasks still run then: nothing has ended, and it can be called
  /// again; until it or Finish() ends, the object has to live.
  bool FinishWithin(std::chrono::milliseconds timeLimit);

 private:
  class State;

  bool End();

  std::shared_ptr<State> state_;
};

}  // namespace Kelvar::Tool
