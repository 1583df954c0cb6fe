#pragma once

#include <csignal>

namespace Kelvar {

/// Keeps SIGPIPE from the host program while this thread writes to a socket whose peer may be gone, where the writer is
/// foreign and does not ask the kernel to leave the signal out. The program's own handling of the signal stays as it
/// is, and so does a signal that waits already.
class SigpipeGuard {
 public:
  SigpipeGuard() noexcept;
  ~SigpipeGuard();
  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

 private:
  bool WaitsAlready() const noexcept;

  sigset_t sigpipe_{};
  sigset_t former_{};
  bool active_ = false;
};

}  // namespace Kelvar
