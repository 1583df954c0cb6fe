#pragma once

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// One reading at a time for each account of a host, whatever the protocol, so that a refused login is known before the
/// next line would try it again: many service processors lock an account after a few. Any thread.
class Accounts {
 public:
  /// An account of a host. On loopback, where forwarded ports end, each port is a host of its own.
  static std::string KeyOf(const Target& target);

  /// Calls `start` at once, or when the reading before it has left.
  void Enter(const std::string& key, std::function<void()> start);
  /// Ends what Enter() began, and starts the next.
  void Leave(const std::string& key);

  void Refuse(const std::string& key);
  bool IsRefused(const std::string& key);

 private:
  struct Account {
    bool busy = false;
    bool refused = false;
    std::deque<std::function<void()>> waiting;
  };

  std::mutex mutex_;
  std::map<std::string, Account> accounts_;
};

}  // namespace Kelvar::Tool
