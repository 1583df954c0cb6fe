#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "tools/kelvar/ConfigFile.h"
#include "tools/kelvar/Reader.h"
#include "tools/kelvar/Report.h"
#include "tools/kelvar/Target.h"
#include "tools/kelvar/pool/WorkerPool.h"

namespace Kelvar::Tool::Serve {

/// What is read from whom.
struct Probe {
  Target target;
  Config::Module module;
  std::chrono::milliseconds time{};  ///< that the reading may take

  /// Equal for probes that are the same reading, whatever time each has.
  std::string Key() const;
};

/// Reads targets on threads of their own, since the library blocks. Probes of one target and module that come together
/// share one reading, in the time of the first. One that nobody waits for any more counts as in flight until it ends,
/// and who asks for the same meanwhile waits for a new one, so that a stuck target holds one thread and no more. Safe
/// from any thread.
class ProbePool {
 public:
  /// Reads one target within its time. Throws nothing.
  using Read = std::function<Report(const Probe& probe)>;

  /// What there is for one who waits.
  struct Result {
    bool started = false;                  ///< false: no thread was free in time
    double seconds = 0;                    ///< since the reading began
    std::shared_ptr<const Report> report;  ///< null when it is not over
  };
  using Done = std::function<void(std::shared_ptr<const Result> result)>;

  struct Counts {
    std::size_t inFlight = 0;    ///< threads
    std::size_t leftBehind = 0;  ///< of these, threads that nobody waits for
    std::size_t waiting = 0;     ///< readings that wait for a thread
    std::size_t begun = 0;       ///< readings ever
    std::size_t shared = 0;      ///< probes that joined another one's reading
  };

  using Ticket = std::size_t;

  ProbePool(std::size_t maxInFlight, Read read);
  ~ProbePool();
  ProbePool(const ProbePool&) = delete;
  ProbePool& operator=(const ProbePool&) = delete;

  /// Waits for a reading. `done` is called once, on another thread, unless Cancel() came first.
  Ticket Subscribe(const Probe& probe, Done done);

  /// Waits no longer; what has been read so far, or null when `done` has been or is being called.
  std::shared_ptr<const Result> Cancel(const Probe& probe, Ticket ticket);

  Counts Counted() const;

  /// Begins nothing any more and tells readings to end. False when some are still stuck after `timeLimit`: the object
  /// must then live as long as the process.
  bool Stop(std::chrono::milliseconds timeLimit);

 private:
  class PendingProbe;

  void Finish(const std::shared_ptr<PendingProbe>& probe);
  void BeginQueued();
  bool Begin(const std::shared_ptr<PendingProbe>& probe);

  const std::size_t maxInFlight_;
  const Read read_;
  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<PendingProbe>> pending_;  ///< by the probe's key
  std::deque<std::shared_ptr<PendingProbe>> queue_;               ///< those without a thread
  Ticket lastTicket_ = 0;
  Counts counts_;
  bool stopping_ = false;
  WorkerPool workers_;
};

}  // namespace Kelvar::Tool::Serve
