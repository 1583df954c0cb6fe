#include "tools/kelvar/serve/ProbePool.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace Kelvar::Tool::Serve {

std::string Probe::Key() const {
  const auto& info = target.info;
  std::string key = module.name;
  for (const std::string& part :
       {std::to_string(info.ConnectionCase), std::to_string(info.ConnectionType), info.Host, std::to_string(info.Port),
        std::to_string(info.ZMCIndex), std::to_string(info.RemoteSessionArgument)}) {
    key += '\n' + part;
  }
  return key;
}

/// A reading and who waits for it. What is not guarded by a mutex of its own is guarded by the pool's.
class ProbePool::PendingProbe : public WorkerPool::Task, public std::enable_shared_from_this<PendingProbe> {
 public:
  PendingProbe(ProbePool& owner, Probe which) : probe(std::move(which)), pool_(owner) {}

  void Run() override {
    auto report = std::make_shared<const Report>(pool_.read_(probe));
    const std::lock_guard lock(mutex_);
    report_ = std::move(report);
  }
  void Done() override { pool_.Finish(shared_from_this()); }
  void OnDeadline() override {}  // each who waits has one of its own

  std::shared_ptr<const Result> ResultSoFar() const {
    auto result = std::make_shared<Result>();
    result->started = true;
    result->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const std::lock_guard lock(mutex_);
    result->report = report_;
    return result;
  }

  const Probe probe;
  std::map<Ticket, ProbePool::Done> waiting;
  bool running = false;
  bool abandoned = false;
  std::chrono::steady_clock::time_point start;

 private:
  ProbePool& pool_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Report> report_;
};

ProbePool::ProbePool(std::size_t maxInFlight, Read read)
    : maxInFlight_(maxInFlight), read_(std::move(read)), workers_({static_cast<unsigned>(maxInFlight)}) {}

ProbePool::~ProbePool() = default;

ProbePool::Ticket ProbePool::Subscribe(const Probe& probe, Done done) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<PendingProbe>& pending = pending_[probe.Key()];
  if (pending == nullptr) {
    pending = std::make_shared<PendingProbe>(*this, probe);
    queue_.push_back(pending);
  } else {
    ++counts_.shared;
  }
  const Ticket ticket = ++lastTicket_;
  pending->waiting.emplace(ticket, std::move(done));
  BeginQueued();
  return ticket;
}

std::shared_ptr<const ProbePool::Result> ProbePool::Cancel(const Probe& probe, Ticket ticket) {
  std::shared_ptr<PendingProbe> pending;
  {
    const std::lock_guard lock(mutex_);
    const auto known = pending_.find(probe.Key());
    if (known == pending_.end() || known->second->waiting.erase(ticket) == 0) {
      return nullptr;
    }
    pending = known->second;
    const bool abandonedBefore = std::exchange(pending->abandoned, pending->abandoned || pending->waiting.empty());
    if (abandonedBefore || !pending->running) {
      if (!pending->running && pending->waiting.empty()) {
        queue_.erase(std::find(queue_.begin(), queue_.end(), pending));
        pending_.erase(known);
      }
      auto nothing = std::make_shared<Result>();
      nothing->started = abandonedBefore;
      return nothing;
    }
  }
  return pending->ResultSoFar();
}

ProbePool::Counts ProbePool::Counted() const {
  const std::lock_guard lock(mutex_);
  Counts counts = counts_;
  counts.waiting = queue_.size();
  for (const auto& [key, pending] : pending_) {
    counts.leftBehind += pending->running && pending->abandoned ? 1U : 0U;
  }
  return counts;
}

bool ProbePool::Stop(std::chrono::milliseconds timeLimit) {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    for (const auto& pending : queue_) {
      pending_.erase(pending->probe.Key());
    }
    queue_.clear();
  }
  return workers_.FinishWithin(timeLimit);
}

void ProbePool::BeginQueued() {
  while (!stopping_ && counts_.inFlight < maxInFlight_ && !queue_.empty() && Begin(queue_.front())) {
    queue_.pop_front();
  }
}

bool ProbePool::Begin(const std::shared_ptr<PendingProbe>& pending) {
  pending->start = std::chrono::steady_clock::now();
  try {
    workers_.Submit(pending);
  } catch (const std::system_error&) {
    return false;  // tried again when a reading ends or another one comes
  }
  pending->running = true;
  ++counts_.inFlight;
  ++counts_.begun;
  return true;
}

void ProbePool::Finish(const std::shared_ptr<PendingProbe>& ended) {
  const auto result = ended->ResultSoFar();
  std::map<Ticket, Done> answered;
  {
    const std::lock_guard lock(mutex_);
    const auto known = pending_.find(ended->probe.Key());
    if (ended->abandoned && !ended->waiting.empty() && !stopping_) {
      known->second = std::make_shared<PendingProbe>(*this, ended->probe);
      known->second->waiting.swap(ended->waiting);
      queue_.push_back(known->second);
    } else {
      answered.swap(ended->waiting);
      pending_.erase(known);
    }
  }
  for (const auto& [ticket, done] : answered) {
    done(result);
  }
  const std::lock_guard lock(mutex_);
  --counts_.inFlight;
  BeginQueued();
}

}  // namespace Kelvar::Tool::Serve
