#include "common/process/SigpipeGuard.h"

#include <ctime>

namespace Kelvar {

SigpipeGuard::SigpipeGuard() noexcept {
  sigemptyset(&sigpipe_);
  sigaddset(&sigpipe_, SIGPIPE);
  active_ = pthread_sigmask(SIG_BLOCK, &sigpipe_, &former_) == 0 && !WaitsAlready();
}

SigpipeGuard::~SigpipeGuard() {
  if (!active_) {
    return;
  }
  const timespec immediately{};
  while (sigtimedwait(&sigpipe_, nullptr, &immediately) > 0) {
  }
  pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

bool SigpipeGuard::WaitsAlready() const noexcept {
  sigset_t pending;
  return sigismember(&former_, SIGPIPE) == 1 && sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace Kelvar
