#pragma once

#include <csignal>
#include <ctime>

namespace Pegasus::Detail {

/// Keeps SIGPIPE from the process while this thread writes to sockets whose peer may be gone.
class SigpipeBlock {
 public:
  SigpipeBlock() noexcept {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &former_);
  }
  ~SigpipeBlock() {
    const timespec noWait{};
    while (!wasPending_ && sigtimedwait(&pipe_, nullptr, &noWait) == SIGPIPE) {
    }
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
  }
  SigpipeBlock(const SigpipeBlock&) = delete;
  SigpipeBlock& operator=(const SigpipeBlock&) = delete;

 private:
  sigset_t pipe_{};
  sigset_t former_{};
  bool wasPending_ = false;
};

}  // namespace Pegasus::Detail
