#pragma once

#include <atomic>
#include <memory>

#include <kelvar/ConnectionOptions.h>

namespace Kelvar {

/// Whether a login was refused to the objects that share it. Any thread.
class LoginGuard {
 public:
  bool IsRefused() const noexcept { return refused_.load(std::memory_order_relaxed); }
  void NoteRefused() noexcept { refused_.store(true, std::memory_order_relaxed); }
  /// The account is right: what is refused from now on is refused alone.
  bool IsAccepted() const noexcept { return accepted_.load(std::memory_order_relaxed); }
  void NoteAccepted() noexcept { accepted_.store(true, std::memory_order_relaxed); }

 private:
  std::atomic<bool> refused_{false};
  std::atomic<bool> accepted_{false};
};

/// What an object keeps of the scope that it was made in.
struct KeptConnectionOptions {
  ConnectionOptions options;
  std::shared_ptr<LoginGuard> guard;

  static KeptConnectionOptions Current();
  /// Null when the options in force want none.
  static std::shared_ptr<LoginGuard> CurrentGuard() noexcept;
  /// The scope once more.
  ConnectionOptionsScope Enter() const { return ConnectionOptionsScope(*this); }
};

}  // namespace Kelvar
