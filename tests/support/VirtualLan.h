#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <queue>
#include <random>
#include <vector>

#include "support/VirtualBmc.h"
#include "transport/ipmi/DatagramPort.h"

namespace Kelvar::Test {

using std::chrono::milliseconds;

/// What becomes of datagrams on a path, and how long the target takes for each.
struct PathConditions {
  milliseconds roundTrip{0};
  milliseconds jitter{0};  ///< at most, added to each way: datagrams may overtake each other
  unsigned lostPercent = 0;
  unsigned doubledPercent = 0;
  milliseconds service{0};  ///< the target works on one datagram at a time, in the order of arrival
  unsigned seed = 1;
};

/// Paths from clients to one service processor, in a time that passes only while all clients wait: waits of minutes
/// take no time, and the same seed gives the same run. Each port is used by one thread; must outlive its ports.
class VirtualLan {
 public:
  VirtualLan(VirtualBmc& bmc, const PathConditions& conditions);

  /// A client's end. The time stands still while a port exists whose thread does not wait.
  std::unique_ptr<Ipmi::DatagramPort> MakePort();
  milliseconds Elapsed();
  /// Lets everything arrive that is on its way, whoever waits.
  void Drain();
  /// Datagrams from clients, lost ones included.
  std::size_t FromClients() const { return fromClients_; }
  /// Asked for each datagram of a direction, on top of the conditions: true loses it.
  std::function<bool(bool toServer, const std::vector<u8>& datagram)> loses;

 private:
  class Port;
  using Time = Ipmi::Clock::time_point;
  struct Event {
    Time due;
    std::size_t order;
    std::function<void()> run;
    bool operator<(const Event& other) const {
      return due != other.due ? due > other.due : order > other.order;  // the earliest is the top of the queue
    }
  };

  void Schedule(Time due, std::function<void()> run) { events_.push({due, order_++, std::move(run)}); }
  /// Runs `arrive` for each copy that comes through.
  void Travel(bool toServer, const std::vector<u8>& datagram, const std::function<void()>& arrive);
  void Serve(Port* client, std::vector<u8> datagram);
  /// Called by a waiting client: when all wait, the next event takes place.
  void Advance();

  VirtualBmc& bmc_;
  const PathConditions conditions_;
  std::mt19937 random_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Port*> ports_;
  std::priority_queue<Event> events_;
  std::size_t order_ = 0;
  std::size_t fromClients_ = 0;
  Time now_{std::chrono::hours(1)};
  Time busyUntil_{};
};

}  // namespace Kelvar::Test
