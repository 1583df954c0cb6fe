#pragma once

#include <csignal>

namespace Rest {

/// Keeps SIGPIPE from the host program while a transfer runs on this thread: libcurl writes TLS records to sockets that
/// the peer may have closed, and leaves the signal alone when CURLOPT_NOSIGNAL is set. The program's own handling of
/// the signal stays as it is.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() noexcept {
    sigemptyset(&brokenPipe_);
    sigaddset(&brokenPipe_, SIGPIPE);
    active_ = pthread_sigmask(SIG_BLOCK, &brokenPipe_, &former_) == 0 && !WaitsAlready();
  }

  ~BrokenPipeGuard() {
    if (!active_) {
      return;
    }
    const timespec immediately{};
    while (sigtimedwait(&brokenPipe_, nullptr, &immediately) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
  }

  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  /// A signal that was blocked and pending before is not ours to take.
  bool WaitsAlready() const noexcept {
    sigset_t pending;
    return sigismember(&former_, SIGPIPE) == 1 && sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t brokenPipe_{};
  sigset_t former_{};
  bool active_ = false;
};

}  // namespace Rest
