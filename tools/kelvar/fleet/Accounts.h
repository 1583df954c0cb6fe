#pragma once

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// One reading at a time for each account of a host, whatever the protocol, so that a refused login is known before the
/// next line would try it again: many service processors lock an account after a few. Any thread.
class Accounts {
 public:
  /// One account at each address of its host, sorted.
  using Places = std::vector<std::string>;

  /// The same for every spelling of a target. On loopback, where forwarded ports end, each port is a host of its own.
  /// Asks the resolver, which can block.
  static Places PlacesOf(const Target& target);

  /// Calls `start` at once, or when the readings before it have left.
  void Enter(const Places& places, const std::function<void()>& start) { EnterFrom(0, places, start); }
  /// Ends what Enter() began, and starts the next.
  void Leave(const Places& places);

  void Refuse(const Places& places);
  bool IsRefused(const Places& places);

 private:
  struct Account {
    bool busy = false;
    bool refused = false;
    std::deque<std::function<void()>> waiting;
  };

  /// One place after the other; since all come in one order, no two readings wait for each other.
  void EnterFrom(std::size_t first, const Places& places, const std::function<void()>& start);
  void LeaveOne(const std::string& place);

  std::mutex mutex_;
  std::map<std::string, Account> accounts_;
};

}  // namespace Kelvar::Tool
