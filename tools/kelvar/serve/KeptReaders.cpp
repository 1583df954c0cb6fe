#include "tools/kelvar/serve/KeptReaders.h"

#include <system_error>
#include <utility>

namespace Kelvar::Tool::Serve {

namespace {

constexpr unsigned kClosers = 32;

/// Closes a reader's session, by its end.
class Closing : public WorkerPool::Task {
 public:
  explicit Closing(KeptReaders::Reader reader) : reader_(std::move(reader)) {}
  void Run() override { reader_.reset(); }
  void Done() override {}
  void OnDeadline() override {}  // there is none: closing has a bound

 private:
  KeptReaders::Reader reader_;
};

}  // namespace

KeptReaders::KeptReaders(std::function<Clock::time_point()> now)
    : now_(std::move(now)), lastSweep_(now_()), closers_({kClosers}) {}

KeptReaders::~KeptReaders() {
  if (!finished_) {
    Cancel();
    closers_.Finish();
  }
}

KeptReaders::Loan::Loan(KeptReaders& readers, std::string key, const std::function<Reader()>& make)
    : readers_(readers), key_(std::move(key)) {
  {
    const std::lock_guard lock(readers_.mutex_);
    generation_ = readers_.generation_;
    const auto found = readers_.idle_.find(key_);
    if (found != readers_.idle_.end()) {
      reader_ = std::move(found->second.reader);
      readers_.idle_.erase(found);
    }
  }
  if (reader_ == nullptr) {
    reader_ = make();
  }
  const std::lock_guard lock(readers_.mutex_);
  readers_.inUse_.insert(reader_.get());
  if (readers_.stopping_) {
    reader_->Cancel();
  }
}

KeptReaders::Loan::~Loan() {
  readers_.GiveBack(key_, std::move(reader_), generation_, isKept_);
}

void KeptReaders::GiveBack(const std::string& key, Reader reader, std::size_t generation, bool isKept) {
  const std::lock_guard lock(mutex_);
  inUse_.erase(reader.get());
  if (isKept && !stopping_ && generation == generation_ && idle_.count(key) < kMostOfTarget && idle_.size() < kMost) {
    idle_.emplace(key, Idle{std::move(reader), now_()});
  } else {
    Close(std::move(reader));
  }
  Sweep();
}

/// Looks for idle readers, once a minute.
void KeptReaders::Sweep() {
  const Clock::time_point now = now_();
  if (now - lastSweep_ < std::chrono::minutes(1)) {
    return;
  }
  lastSweep_ = now;
  for (auto one = idle_.begin(); one != idle_.end();) {
    if (now - one->second.since < kLongestIdle) {
      ++one;
      continue;
    }
    Close(std::move(one->second.reader));
    one = idle_.erase(one);
  }
}

void KeptReaders::Close(Reader reader) {
  try {
    closers_.Submit(std::make_shared<Closing>(std::move(reader)));
  } catch (const std::system_error&) {  // no thread can be made: the session is closed here, by the task's end
  }
}

void KeptReaders::Retire() {
  const std::lock_guard lock(mutex_);
  ++generation_;
  for (auto& [key, idle] : idle_) {
    Close(std::move(idle.reader));
  }
  idle_.clear();
}

void KeptReaders::Cancel() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (InventoryReader* const reader : inUse_) {
      reader->Cancel();
    }
  }
  Retire();
}

bool KeptReaders::Finish(std::chrono::milliseconds timeLimit) {
  finished_ = closers_.FinishWithin(timeLimit);
  return finished_;
}

}  // namespace Kelvar::Tool::Serve
