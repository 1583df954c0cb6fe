#include "tools/kelvar/serve/Readings.h"

#include <algorithm>
#include <utility>

#include <limits.h>
#include <pthread.h>

namespace Kelvar::Tool::Serve {

namespace {

constexpr std::size_t stackBytes = 256 * 1024;

/// A detached thread with a small stack. False when the system gives none.
bool StartThread(void* (*main)(void*), void* argument) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) {
    return false;
  }
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // whose frames are larger
  pthread_attr_setstacksize(&attributes, stackBytes);
#endif
  pthread_t thread;
  const bool started = pthread_create(&thread, &attributes, main, argument) == 0;
  pthread_attr_destroy(&attributes);
  return started;
}

}  // namespace

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

Readings::Readings(std::size_t maxInFlight, Read read) : maxInFlight_(maxInFlight), read_(std::move(read)) {}

Readings::Ticket Readings::Join(const Probe& probe, Done done) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Flight>& flight = flights_[probe.Key()];
  if (flight == nullptr) {
    flight = std::make_shared<Flight>(probe);
    queue_.push_back(flight);
  } else {
    ++counts_.shared;
  }
  const Ticket ticket = ++lastTicket_;
  flight->waiting.emplace(ticket, std::move(done));
  BeginQueued();
  return ticket;
}

std::shared_ptr<const Readings::Result> Readings::Leave(const Probe& probe, Ticket ticket) {
  std::shared_ptr<Flight> flight;
  {
    const std::lock_guard lock(mutex_);
    const auto known = flights_.find(probe.Key());
    if (known == flights_.end() || known->second->waiting.erase(ticket) == 0) {
      return nullptr;
    }
    flight = known->second;
    const bool abandonedBefore = std::exchange(flight->abandoned, flight->abandoned || flight->waiting.empty());
    if (abandonedBefore || !flight->running) {
      if (!flight->running && flight->waiting.empty()) {
        queue_.erase(std::find(queue_.begin(), queue_.end(), flight));
        flights_.erase(known);
      }
      auto nothing = std::make_shared<Result>();
      nothing->started = abandonedBefore;
      return nothing;
    }
  }
  return ResultOf(*flight, false);
}

Readings::Counts Readings::Counted() const {
  const std::lock_guard lock(mutex_);
  Counts counts = counts_;
  counts.waiting = queue_.size();
  for (const auto& [key, flight] : flights_) {
    counts.leftBehind += flight->running && flight->abandoned ? 1U : 0U;
  }
  return counts;
}

bool Readings::Stop(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  stopping_ = true;
  for (const auto& flight : queue_) {
    flights_.erase(flight->probe.Key());
  }
  queue_.clear();
  return ended_.wait_for(lock, patience, [this] { return counts_.inFlight == 0; });
}

void Readings::BeginQueued() {
  while (!stopping_ && counts_.inFlight < maxInFlight_ && !queue_.empty() && Begin(queue_.front())) {
    queue_.pop_front();
  }
}

bool Readings::Begin(const std::shared_ptr<Flight>& flight) {
  auto start = std::make_unique<ThreadStart>(ThreadStart{this, flight});
  flight->start = std::chrono::steady_clock::now();
  if (!StartThread(ThreadMain, start.get())) {
    return false;  // tried again when a reading ends or another one comes
  }
  (void)start.release();
  flight->running = true;
  ++counts_.inFlight;
  ++counts_.begun;
  return true;
}

void* Readings::ThreadMain(void* argument) {
  const std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
  start->readings->Run(start->flight);
  return nullptr;
}

void Readings::Run(const std::shared_ptr<Flight>& flight) {
  {
    const Report report = read_(flight->probe, [this, &flight](const Report::Entry& entry) {
      {
        const std::lock_guard lock(flight->mutex);
        flight->metrics.Add(entry, flight->probe.target.protocol);
      }
      return Wanted(*flight);
    });
    const std::lock_guard lock(flight->mutex);
    flight->metrics.SetConnectCode(report.entries.empty() ? report.code : ExitCode::Complete);
  }
  Finish(flight);
}

bool Readings::Wanted(const Flight& flight) const {
  const std::lock_guard lock(mutex_);
  return !stopping_ && !flight.abandoned;
}

void Readings::Finish(const std::shared_ptr<Flight>& flight) {
  const auto result = ResultOf(*flight, true);
  std::map<Ticket, Done> answered;
  {
    const std::lock_guard lock(mutex_);
    const auto known = flights_.find(flight->probe.Key());
    if (flight->abandoned && !flight->waiting.empty() && !stopping_) {
      known->second = std::make_shared<Flight>(flight->probe);
      known->second->waiting.swap(flight->waiting);
      queue_.push_back(known->second);
    } else {
      answered.swap(flight->waiting);
      flights_.erase(known);
    }
  }
  for (const auto& [ticket, done] : answered) {
    done(result);
  }
  const std::lock_guard lock(mutex_);
  --counts_.inFlight;
  BeginQueued();
  ended_.notify_all();
}

std::shared_ptr<const Readings::Result> Readings::ResultOf(Flight& flight, bool finished) {
  auto result = std::make_shared<Result>();
  result->started = true;
  result->finished = finished;
  result->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - flight.start).count();
  const std::lock_guard lock(flight.mutex);
  result->metrics = flight.metrics;
  return result;
}

}  // namespace Kelvar::Tool::Serve
