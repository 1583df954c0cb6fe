#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include <kelvar/InventoryReader.h>

#include "tools/kelvar/pool/WorkerPool.h"

namespace Kelvar::Tool::Serve {

/// Readers that wait for the next scrape of their target, with their session open. Sessions are closed on threads of
/// their own, since a target can hold that up: of readers that are idle for ten minutes, that are too many, or that
/// another configuration made, and of all at the end. Any thread.
class KeptReaders {
 public:
  using Reader = std::unique_ptr<InventoryReader>;
  using Clock = std::chrono::steady_clock;

  static constexpr std::size_t kMostOfTarget = 2;  ///< idle ones; modules are read side by side
  static constexpr std::size_t kMost = 5000;
  static constexpr std::chrono::minutes kLongestIdle{10};

  /// `now` is for tests.
  explicit KeptReaders(std::function<Clock::time_point()> now = Clock::now);
  ~KeptReaders();
  KeptReaders(const KeptReaders&) = delete;
  KeptReaders& operator=(const KeptReaders&) = delete;

  /// One reader in use.
  class Loan {
   public:
    /// Takes one that waits for the target, or makes one.
    Loan(KeptReaders& readers, std::string key, const std::function<Reader()>& make);
    /// Gives it back.
    ~Loan();
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;

    InventoryReader& operator*() const { return *reader_; }
    /// It is not kept.
    void Drop() { isKept_ = false; }

   private:
    KeptReaders& readers_;
    const std::string key_;
    Reader reader_;
    std::size_t generation_ = 0;
    bool isKept_ = true;
  };

  /// None of the readers that there are is used again.
  void Retire();

  /// Ends the readings under way, and keeps nothing from now on.
  void Cancel();

  /// After Cancel(): waits until all sessions are closed. False when some are not after `timeLimit`: the object must
  /// then live as long as the process.
  bool Finish(std::chrono::milliseconds timeLimit);

 private:
  struct Idle {
    Reader reader;
    Clock::time_point since;
  };
  using IdleReaders = std::multimap<std::string, Idle>;

  void GiveBack(const std::string& key, Reader reader, std::size_t generation, bool isKept);
  void Sweep();
  void Close(Reader reader);

  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;
  IdleReaders idle_;
  std::set<InventoryReader*> inUse_;
  std::size_t generation_ = 0;
  Clock::time_point lastSweep_;
  bool stopping_ = false;
  bool finished_ = false;
  WorkerPool closers_;
};

}  // namespace Kelvar::Tool::Serve
