#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tools/kelvar/Target.h"

namespace Kelvar::Tool::Serve {

/// Keeps wrong passwords from locking accounts, and one target from taking all readers. A place is an account at an
/// address and port; a target has one for each of its addresses, however it is spelled. Any thread.
class LoginGate {
 public:
  using Clock = std::chrono::steady_clock;
  using Places = std::vector<std::string>;

  /// The account of a target at each of its addresses. Asks the resolver, which can block.
  static Places PlacesOf(const Target& target);

  /// At most `mostAtOnce` readings of one place. `now` is for tests.
  explicit LoginGate(std::size_t mostAtOnce, std::function<Clock::time_point()> now = Clock::now)
      : mostAtOnce_(mostAtOnce), now_(std::move(now)) {}

  /// One reading: from its making to its end.
  class Visit {
   public:
    /// Waits while another reading of a place has not been let in yet.
    Visit(LoginGate& gate, Places places);
    ~Visit();
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    /// Why it must not log in; empty when it may.
    const std::string& Refusal() const { return refusal_; }
    /// Whether that is for a refused login, not for too many readings.
    bool WasRefused() const { return wasRefused_; }

    /// The login was good.
    void LetIn();
    /// It was refused: nobody tries again for five minutes.
    void Refuse();

   private:
    LoginGate& gate_;
    const Places places_;
    std::string refusal_;
    bool wasRefused_ = false;
    bool entered_ = false;
    bool trying_ = false;
  };

 private:
  struct Place {
    std::size_t visits = 0;
    bool tried = false;  ///< by a visit that has not been let in yet
    bool good = false;   ///< let a visit in that is still there
    bool wasRefused = false;
    Clock::time_point refused{};
  };

  bool AnyOf(const Places& places, bool Place::*flag) const;
  /// Seconds until a refused place may be tried again; 0: now.
  long SecondsLeft(const Places& places);
  void EndTrying(const Places& places);
  void Forget();

  const std::size_t mostAtOnce_;
  const std::function<Clock::time_point()> now_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, Place> places_;
};

}  // namespace Kelvar::Tool::Serve
